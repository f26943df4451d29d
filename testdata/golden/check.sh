#!/usr/bin/env bash
# Golden albums: runs vorp over every case in cases.txt and compares what it
# writes (album, Tessary text, exit status and messages) with hashes.txt, so
# any byte that moves, on any compiler or processor, fails the check.
#
#   testdata/golden/check.sh VORP [RUNNER ...]           compare
#   testdata/golden/check.sh --update VORP [RUNNER ...]  rewrite hashes.txt
#
# RUNNER runs the executable, for example `qemu-aarch64 -L /usr/aarch64-linux-gnu`.
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

update=0
if [ "${1:-}" = "--update" ]; then
  update=1
  shift
fi
if [ $# -lt 1 ]; then
  echo "usage: $0 [--update] VORP [RUNNER ...]"
  exit 1
fi
vorp=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
shift
runner=("$@")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

actual="$work/hashes.txt"
: > "$actual"
while read -r name input options; do
  case "$name" in ''|'#'*) continue ;; esac
  # Word splitting of the options is intended.
  # shellcheck disable=SC2086
  # From the repository root, so messages name the input the same way in
  # every checkout.
  (cd "$root" && "${runner[@]}" "$vorp" $options -o "$work/$name.vorp" -g "$work/$name.tess" "$input" > "$work/$name.out" 2>&1
   echo "exit $?" >> "$work/$name.out")
  for kind in vorp tess out; do
    if [ -f "$work/$name.$kind" ]; then
      (cd "$work" && sha256sum "$name.$kind") >> "$actual"
    else
      echo "missing  $name.$kind" >> "$actual"
    fi
  done
done < "$here/cases.txt"

if [ $update -eq 1 ]; then
  cp "$actual" "$here/hashes.txt"
  echo "wrote $(wc -l < "$actual") hashes to $here/hashes.txt"
  exit 0
fi

passed=0
failed=0
while read -r hash file; do
  expected=$(grep -F "  $file" "$here/hashes.txt" | head -n 1 | cut -d' ' -f1)
  if [ "$hash" = "$expected" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "golden: $file differs (expected ${expected:-nothing}, got $hash)"
  fi
done < "$actual"
if [ "$(wc -l < "$actual")" -ne "$(wc -l < "$here/hashes.txt")" ]; then
  echo "golden: hashes.txt lists $(wc -l < "$here/hashes.txt") outputs, the cases made $(wc -l < "$actual")"
  failed=$((failed + 1))
fi
echo "golden: $passed passed, $failed failed"
[ $failed -eq 0 ]

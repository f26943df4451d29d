#!/usr/bin/env bash
# Measures vorp-prep on four public icon sets: each file is prepared, compiled
# with `vorp -pict`, drawn by vorp-render and compared with the resvg reference
# rasteriser drawing the original (visual/prep-eval.cjs says how).
#
#   visual/prep-eval.sh [--cache DIR] [--build DIR] [--out DIR] [prep-eval.cjs options]
#
#   --cache DIR  where the packages, resvg and the results go (default /tmp/prepeval)
#   --build DIR  the build folder: DIR/tool/vorp, DIR/tool/vorp-render and the
#                default preparation command DIR/prep/vorp-prep (default build)
#   --out DIR    results (default CACHE/out-NAME, NAME from the --prep command)
# Everything else goes to prep-eval.cjs: --prep CMD ('copy' for none),
# --sample N, --seed S, --only REGEX, --sets a,b (a subset of the set names
# below), --jobs N, --worst N, --fresh.
#
# Sets: mdi, tabler-outline, tabler-filled, bootstrap, twemoji.
# Needs node and npm; the packages are fetched once with `npm pack`.
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
cache=/tmp/prepeval
build=build
out=
prep=
sets=
pass=()
while [ $# -gt 0 ]; do
	case "$1" in
		--cache) cache="$2"; shift 2 ;;
		--build) build="$2"; shift 2 ;;
		--out) out="$2"; shift 2 ;;
		--prep) prep="$2"; shift 2 ;;
		--sets) sets="$2"; shift 2 ;;
		*) pass+=("$1"); shift ;;
	esac
done
[ -n "$prep" ] || prep="$build/prep/vorp-prep"
if [ -z "$out" ]; then
	name="$(basename "${prep%% *}")"
	out="$cache/out-${name//[^A-Za-z0-9_.-]/_}"
fi

mkdir -p "$cache/pkg" "$cache/src"
if [ ! -d "$cache/node_modules/@resvg/resvg-js" ]; then
	npm install --silent --no-save --prefix "$cache" @resvg/resvg-js >/dev/null
fi

# Package, unpacked folder name, and the sets inside it.
fetch() {
	local package="$1" folder="$2"
	if [ ! -d "$cache/src/$folder/package" ]; then
		local tarball
		tarball="$(cd "$cache/pkg" && npm pack --silent "$package" 2>/dev/null | tail -n 1)"
		mkdir -p "$cache/src/$folder"
		tar xzf "$cache/pkg/$tarball" -C "$cache/src/$folder"
	fi
}
fetch @mdi/svg mdi
fetch @tabler/icons tabler
fetch bootstrap-icons bootstrap
fetch @twemoji/svg twemoji

declare -A dirs=(
	[mdi]="$cache/src/mdi/package/svg"
	[tabler-outline]="$cache/src/tabler/package/icons/outline"
	[tabler-filled]="$cache/src/tabler/package/icons/filled"
	[bootstrap]="$cache/src/bootstrap/package/icons"
	[twemoji]="$cache/src/twemoji/package"
)
order=(mdi tabler-outline tabler-filled bootstrap twemoji)
[ -z "$sets" ] || IFS=, read -r -a order <<<"$sets"
setargs=()
for set in "${order[@]}"; do
	[ -n "${dirs[$set]:-}" ] || { echo "unknown set $set" >&2; exit 1; }
	setargs+=(--set "$set=${dirs[$set]}")
done

NODE_PATH="$cache/node_modules" exec node "$here/prep-eval.cjs" --tools "$build/tool" --prep "$prep" --out "$out" "${setargs[@]}" "${pass[@]}"

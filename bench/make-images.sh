#!/usr/bin/env bash
# Builds the album images the codec benchmark reads: 200 real icons and 20
# large drawings of 150 icons each, compiled with -no-compress.
#   bench/make-images.sh VORP ICON_DIR OUT_DIR
# ICON_DIR holds SVG icons (for instance `npm pack @twemoji/svg @mdi/svg`,
# unpacked); OUT_DIR receives icons/*.vorp and large/*.vorp.
set -euo pipefail
vorp=$1 icons=$2 out=$3
mkdir -p "$out/icons" "$out/large" "$out/svg"
mapfile -t files < <(find "$icons" -name '*.svg' | LC_ALL=C sort)
count=${#files[@]}
[ "$count" -ge 200 ] || { echo "need at least 200 icons in $icons"; exit 1; }
for i in $(seq 0 199); do
  file=${files[$(( i * count / 200 ))]}
  "$vorp" -no-compress -o "$out/icons/$i.vorp" "$file" >/dev/null || true
done
# A large drawing: each icon's content as one layer of a 36 x 36 canvas.
for d in $(seq 0 19); do
  svg="$out/svg/large$d.svg"
  echo '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 36 36">' > "$svg"
  for k in $(seq 0 149); do
    file=${files[$(( (d * 150 + k) * 7919 % count ))]}
    echo "<g id=\"layer$k\">" >> "$svg"
    tr '\n' ' ' < "$file" | sed -e 's/^.*<svg[^>]*>//' -e 's/<\/svg>.*$//' >> "$svg"
    echo '</g>' >> "$svg"
  done
  echo '</svg>' >> "$svg"
  "$vorp" -no-compress -o "$out/large/$d.vorp" "$svg" >/dev/null || true
done
ls "$out/icons" | wc -l
ls "$out/large" | wc -l

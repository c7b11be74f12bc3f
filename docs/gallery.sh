#!/bin/sh
# Draws docs/gallery.md and its pictures: each operation of vekdemo on a scene and on the ring image, at half their size.
# What is missing is installed first (Debian, as root).
set -eu
cd "$(dirname "$0")/.."
cmake/packages.sh build gallery
cmake --preset release
cmake --build --preset release --target vekdemo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build/release/examples/vekdemo --gallery "$work" >"$work/list"

rm -rf docs/gallery
mkdir docs/gallery
for picture in "$work"/*.bmp; do
    name=$(basename "$picture" .bmp)
    convert "$picture" -filter box -resize 50% -strip -define png:compression-level=9 "docs/gallery/$name.png"
done

{
    cat <<'text'
# Gallery

What each operation does to a scene and to the ring image, whose waves grow shorter from the middle outward. All pictures
are drawn by `docs/gallery.sh`; the steps are those that `vekdemo IN.bmp OUT.bmp STEPS` takes.

| steps | what is shown | scene and rings |
|---|---|---|
| | the two pictures | ![the two pictures](gallery/pictures.png) |
text
    while IFS="$(printf '\t')" read -r name steps text; do
        text=$(printf '%s' "$text" | sed 's/|/\\|/g')
        echo "| \`$steps\` | $text | ![$steps](gallery/$name.png) |"
    done <"$work/list"
} >docs/gallery.md

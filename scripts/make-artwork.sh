#!/usr/bin/env bash
# Draws the setup window's artwork into resources/art/: for each brand (Zelko, Orv,
# Tessan) the window background, the close glyph and the success and failure icons as
# 24-bit PNGs, and the brand-neutral program icons setup.ico and setup_small.ico.
# The outputs are committed, so the build never needs ImageMagick; run this again only
# after changing a picture here. Same input, same bytes: metadata is stripped.
set -euo pipefail
cd "$(dirname "$0")/.."

# /usr/local/bin may hold an unrelated "convert", so ImageMagick is called by its own name.
im=
for candidate in /usr/bin/convert-im6.q16 /usr/bin/convert; do
    if [[ -x $candidate ]] && "$candidate" -version 2>/dev/null | grep -q ImageMagick; then
        im=$candidate
        break
    fi
done
if [[ -z $im ]]; then
    echo "make-artwork: ImageMagick not found; install it: apt-get install imagemagick" >&2
    exit 1
fi

fonts=/usr/share/fonts/truetype/dejavu
bold=$fonts/DejaVuSans-Bold.ttf
if [[ ! -f $bold ]]; then
    echo "make-artwork: $bold not found; install it: apt-get install fonts-dejavu-core" >&2
    exit 1
fi

out=resources/art
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Small pictures are drawn this many times larger and box-filtered down: smoother edges
# than ImageMagick's own antialiasing, and flat areas keep their exact colour.
S=4

# The window's pictures are 24-bit PNGs without ancillary chunks: no gamma or colour
# profile for a decoder to apply, since the icons' flat backgrounds must match the window
# pixel for pixel; and no time stamp, so the same input gives the same bytes.
# The pixels go through 8-bit BMP first, which rounds the drawing's deeper channels exactly
# as the window's pictures always were.
png() { # source target
    "$im" "$1" -alpha off -type TrueColor -strip -define bmp:format=bmp3 "BMP3:$tmp/8bit.bmp"
    "$im" "$tmp/8bit.bmp" -strip -define png:exclude-chunks=all \
        -define png:compression-level=9 "PNG24:$2"
}

# An icon-sized picture: canvas colour, final width and height, MVG drawn in final
# pixel units.
small() { # target colour width height mvg
    local target=$1 colour=$2 w=$3 h=$4 mvg=$5
    "$im" -size $((w * S))x$((h * S)) "xc:$colour" \
        -draw "scale $S,$S $mvg" \
        -filter Box -resize "${w}x${h}!" "$tmp/small.png"
    png "$tmp/small.png" "$target"
}

# The "×" of the close button, 20×20.
close_glyph() { # target surface ink
    small "$1" "$2" 20 20 "fill none stroke '$3' stroke-width 1.7 stroke-linecap round
        line 6,6 14,14 line 14,6 6,14"
}

# A disc with a check mark, 62×62, with a faint ring around it.
success_icon() { # target surface disc ring check
    small "$1" "$2" 62 62 "fill '$4' stroke none circle 31,31 31,1
        fill '$2' circle 31,31 31,3
        fill '$3' circle 31,31 31,5.5
        fill none stroke '$5' stroke-width 4.6 stroke-linecap round stroke-linejoin round
        polyline 19.5,32 27.5,40 43,23.5"
}

# A warning triangle with rounded corners and an exclamation mark.
failure_icon() { # target surface width fill outline mark
    local w=$3 c
    c=$(awk -v w="$w" 'BEGIN { printf "%.2f", w / 2 }')
    local r=$((w - 6))
    small "$1" "$2" "$w" 59 "fill '$4' stroke '$5' stroke-width 6 stroke-linejoin round
        polygon $c,5 $r,53 6,53
        fill '$4' stroke none polygon $c,8 $((r - 2)),51 8,51
        fill '$6' stroke none roundrectangle $(awk -v c="$c" 'BEGIN { printf "%.2f,20 %.2f,39", c - 2.6, c + 2.6 }') 2.6,2.6
        circle $c,45.6 $c,48.6"
}

# A soft glow of the accent colour that fades out well before y = 60, where the calm
# area under the text begins.
glow() { # target width colour cx cy rx ry strength
    "$im" -size "$2x60" "xc:$3" \
        \( -size "$2x60" xc:black -fx "t=1-hypot((i-$4)/$6,(j-$5)/$7); t>0 ? $8*t*t : 0" \) \
        -alpha off -compose CopyOpacity -composite "$1"
}

# --- Zelko: deep navy, blue accent ---------------------------------------------------
z_surface='#071D2B' z_accent='#0070F6' z_line='#0D283A'
glow "$tmp/glow.png" 598 "$z_accent" 40 -10 330 62 0.22
"$im" -size 3x598 gradient:"$z_accent"-"$z_surface" -rotate -90 "$tmp/topline.png"
"$im" -size 598x378 "xc:$z_surface" \
    "$tmp/glow.png" -geometry +0+0 -compose Over -composite \
    "$tmp/topline.png" -geometry +0+0 -composite \
    -stroke none -fill '#0E2A3E' -draw "polygon 482,-1 506,-1 470,55.5 446,55.5" \
    -fill '#0B2335' -draw "polygon 512,-1 524,-1 488,55.5 476,55.5" \
    -fill "$z_line" -draw "rectangle 20,56 577,56" -draw "rectangle 20,342 577,342" \
    -fill '#FFFFFF' -font "$bold" -pointsize 15 -gravity NorthWest -annotate +20+14 'Zelko' \
    -fill "$z_accent" -draw "roundrectangle 21,36 39,38 1,1" \
    "$tmp/bg.png"
png "$tmp/bg.png" "$out/background_zelko.png"
close_glyph "$out/close_zelko.png" "$z_surface" '#C8C8C8'
success_icon "$out/success_zelko.png" "$z_surface" "$z_accent" '#0C3558' '#FFFFFF'
failure_icon "$out/failure_zelko.png" "$z_surface" 63 '#E5484D' '#E5484D' '#FFFFFF'

# --- Orv: near-black graphite, green accent ------------------------------------------
o_surface='#111419' o_accent='#44CC88' o_line='#1B2027' o_dots='#222830'
glow "$tmp/glow.png" 598 "$o_accent" 0 -20 260 60 0.10
"$im" -size 2x598 gradient:"$o_accent"-"$o_surface" -rotate -90 "$tmp/topline.png"
dots=
for row in 0 1 2 3; do
    for col in 0 1 2 3 4 5 6 7 8 9 10; do
        x=$((438 + col * 10)) y=$((14 + row * 10))
        dots+="circle $x,$y $((x + 1)),$y "
    done
done
"$im" -size 598x378 "xc:$o_surface" \
    "$tmp/glow.png" -geometry +0+0 -compose Over -composite \
    "$tmp/topline.png" -geometry +0+0 -composite \
    -stroke none -fill "$o_line" -draw "rectangle 20,56 577,56" -draw "rectangle 20,342 577,342" \
    -fill "$o_dots" -draw "$dots" \
    -fill '#FFFFFF' -font "$bold" -pointsize 15 -gravity NorthWest -annotate +20+14 'Orv' \
    -fill "$o_accent" -draw "circle 56.5,29.5 56.5,32" \
    "$tmp/bg.png"
png "$tmp/bg.png" "$out/background_orv.png"
close_glyph "$out/close_orv.png" "$o_surface" '#C8C8C8'
success_icon "$out/success_orv.png" "$o_surface" "$o_accent" '#173A2B' "$o_surface"
failure_icon "$out/failure_orv.png" "$o_surface" 63 '#E5534B' '#E5534B' '#FFFFFF'

# --- Tessan: warm paper white, yellow and ink ----------------------------------------
# Its window is cut to a rounded rectangle (corner ellipse 38×38): the border and the
# bottom band follow that curve, so nothing shows outside it.
t_surface='#FAF9F7' t_accent='#FEEB29' t_ink='#181818' t_line='#E8E6E1'
"$im" -size 596x376 "xc:$t_surface" \
    -stroke none -fill "$t_accent" \
    -draw "roundrectangle 18,21 79,29 1,1" \
    -draw "polygon 480,-1 504,-1 468,55.5 444,55.5" \
    -fill '#FDF5A6' -draw "polygon 510,-1 522,-1 486,55.5 474,55.5" \
    -fill "$t_line" -draw "rectangle 20,56 575,56" -draw "rectangle 20,342 575,342" \
    -fill "$t_ink" -font "$bold" -pointsize 15 -gravity NorthWest -annotate +20+14 'Tessan' \
    \( -size 596x376 xc:none -fill "$t_accent" -draw "rectangle 0,370 595,375" \
       \( -size 596x376 xc:none -fill white -draw "roundrectangle 0,0 595,375 19,19" \) \
       -compose DstIn -composite \) -compose Over -composite \
    -fill none -stroke '#D8D5CF' -strokewidth 1 -draw "roundrectangle 0,0 595,375 19,19" \
    "$tmp/bg.png"
png "$tmp/bg.png" "$out/background_tessan.png"
close_glyph "$out/close_tessan.png" "$t_surface" '#545454'
success_icon "$out/success_tessan.png" "$t_surface" "$t_ink" '#F3EFA8' "$t_accent"
failure_icon "$out/failure_tessan.png" "$t_surface" 62 "$t_accent" "$t_ink" "$t_ink"

# --- Program icons: a neutral slate shield with a check ------------------------------
# Drawn on a 64-unit grid; the small sizes get a heavier check so it survives 16 px.
shield() { # target size check-width
    local px=$1 size=$2 cw=$3 k
    k=$(awk -v s="$size" -v S="$S" 'BEGIN { printf "%.5f", s * S / 64 }')
    "$im" -size $((size * S))x$((size * S)) xc:none \
        -draw "scale $k,$k
            fill '#1F2A36' stroke none
            path 'M32,2 C40,7 49,9 58,9 L58,29 C58,45 47,56 32,62 C17,56 6,45 6,29 L6,9 C15,9 24,7 32,2 Z'
            fill '#3A5068'
            path 'M32,6.5 C39.5,11 47,12.8 54,13 L54,29 C54,42.5 45,52 32,57.5 C19,52 10,42.5 10,29 L10,13 C17,12.8 24.5,11 32,6.5 Z'
            fill '#4A6482'
            path 'M32,6.5 C39.5,11 47,12.8 54,13 L54,29 C54,42.5 45,52 32,57.5 Z'
            fill none stroke '#FFFFFF' stroke-width $cw stroke-linecap round stroke-linejoin round
            polyline 21,32 29,40 44,24" \
        -filter Box -resize "${size}x${size}" -strip "PNG32:$px"
}
shield "$tmp/i16.png" 16 9
shield "$tmp/i32.png" 32 7
shield "$tmp/i48.png" 48 6
shield "$tmp/i256.png" 256 6
ico() { # target png...
    local target=$1
    shift
    "$im" "$@" -strip -define png:exclude-chunks=date,time "ICO:$target"
}
ico "$out/setup.ico" "$tmp/i16.png" "$tmp/i32.png" "$tmp/i48.png" "$tmp/i256.png"
ico "$out/setup_small.ico" "$tmp/i16.png" "$tmp/i32.png"

echo "make-artwork: wrote $(ls "$out" | grep -cv README) files into $out/"

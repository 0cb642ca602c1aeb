#!/bin/sh
# ImageMagick: the Fourier transform of a picture, and back. Phases of places without amplitude are
# chance, so that magnitudes and the picture that comes back are what is printed.
set -e
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for picture in rose: logo: 'gradient:red-blue[65x43]'; do
    convert-im6.q16 "$picture" -fft "$folder/fft_%d.png"
    convert-im6.q16 "$folder/fft_0.png" "$folder/fft_1.png" -ift -depth 8 "$folder/back.png"
    echo "$picture" "$(identify-im6.q16 -format '%#' "$folder/fft_0.png")" \
        "$(identify-im6.q16 -format '%#' "$folder/back.png")"
done

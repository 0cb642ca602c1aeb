"""Draws the spectrogram of a sound and filters an image, and puts both into one picture.

usage: spectrogram.py [SOUND.wav] [PICTURE.png]

Without a sound one is made: a tone that rises, with a second one that comes and goes, and noise.
Needs lyra_fft, and matplotlib for the picture.
"""

import sys
import wave

import matplotlib
import numpy as np

import lyra_fft

matplotlib.use("agg")
from matplotlib import pyplot  # noqa: E402


def read_sound(path):
    """Samples between -1 and 1 of a WAV file with 16 bits for each, and samples per second."""
    with wave.open(path) as file:
        if file.getsampwidth() != 2:
            raise SystemExit(f"{path} does not have 16 bits for a sample")
        samples = np.frombuffer(file.readframes(file.getnframes()), "<i2")
        return samples[::file.getnchannels()] / 32768, file.getframerate()


def made_sound(rate=16000, seconds=4):
    t = np.arange(rate * seconds) / rate
    rising = np.sin(2 * np.pi * (300 * t + 350 * t**2))
    second = np.sin(2 * np.pi * 5000 * t) * (np.sin(2 * np.pi * t) > 0)
    return rising + 0.3 * second + 0.05 * np.random.default_rng(1).standard_normal(t.size), rate


def spectrogram(samples, length=512, step=128):
    """Power in decibels: one row for each frequency, one column for each window."""
    # The windows overlap, and none of them is copied.
    windows = np.lib.stride_tricks.sliding_window_view(samples, length)[::step]
    spectra = lyra_fft.rfft(windows * np.hanning(length), axis=1)
    return 20 * np.log10(np.abs(spectra).T + 1e-4)


def made_image(size=400):
    """A disc, a grid, and noise."""
    y, x = np.mgrid[-1:1:size * 1j, -1:1:size * 1j]
    image = np.where(x**2 + y**2 < 0.5, 1.0, 0.2) + 0.3 * (np.sin(60 * x) * np.sin(60 * y) > 0.6)
    return image + 0.3 * np.random.default_rng(2).standard_normal(image.shape)


def smooth(image, width):
    """The image under a Gaussian filter, `width` pixels wide."""
    rows, columns = image.shape
    f = np.hypot(lyra_fft.fftfreq(rows)[:, None], lyra_fft.rfftfreq(columns)[None, :])
    kernel = np.exp(-2 * (np.pi * width * f)**2)
    return lyra_fft.irfft2(lyra_fft.rfft2(image) * kernel, image.shape)


def main(arguments):
    sounds = [argument for argument in arguments if argument.endswith(".wav")]
    pictures = [argument for argument in arguments if argument.endswith(".png")]
    samples, rate = read_sound(sounds[0]) if sounds else made_sound()
    image = made_image()

    figure, plots = pyplot.subplot_mosaic("AA;BC", figsize=(8, 7), layout="constrained")
    plots["A"].imshow(spectrogram(samples), origin="lower", aspect="auto", cmap="magma",
                      extent=(0, samples.size / rate, 0, rate / 2000), vmin=-40)
    plots["A"].set(xlabel="seconds", ylabel="kHz", title="rfft of overlapping windows")
    plots["B"].imshow(image, cmap="gray")
    plots["B"].set(title="image", xticks=[], yticks=[])
    plots["C"].imshow(smooth(image, 4), cmap="gray")
    plots["C"].set(title="rfft2, a filter, irfft2", xticks=[], yticks=[])
    name = pictures[0] if pictures else "spectrogram.png"
    figure.savefig(name, dpi=100)
    print(f"the picture: {name}")


if __name__ == "__main__":
    main(sys.argv[1:])

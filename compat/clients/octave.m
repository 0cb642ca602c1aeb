% Octave's own tests of the functions that call its FFT, and transforms of all kinds of its arrays.
folder = fullfile (OCTAVE_HOME (), "share", "octave", OCTAVE_VERSION (), "etc", "tests", "libinterp");
files = {"corefcn/fft.cc-tst", "corefcn/fft2.cc-tst", "dldfcn/fftw.cc-tst"};
for k = 1:numel (files)
  [n, nmax] = test (fullfile (folder, files{k}), "quiet");
  printf ("%s: %d of %d tests\n", files{k}, n, nmax);
end
names = {"fftfilt", "fftconv", "fftshift", "ifftshift", "periodogram", "freqz", "spectral_adf"};
for k = 1:numel (names)
  [n, nmax] = test (names{k}, "quiet");
  printf ("%s: %d of %d tests\n", names{k}, n, nmax);
end

function show (name, y)
  y = y(:);
  w = cos ((1:numel (y))' * 0.7);
  printf ("%s %.9e %.9e %.9e\n", name, norm (y), real (sum (y .* w)), imag (sum (y .* w)));
end
x = reshape (sin ((1:4*5*6*7) .^ 2), [4 5 6 7]);
z = x + 1i * cos (x * 3);
for d = 1:4
  show (sprintf ("fft real dim %d", d), fft (x, [], d));
  show (sprintf ("fft complex dim %d", d), fft (z, 9, d));
  show (sprintf ("ifft dim %d", d), ifft (z, [], d));
end
show ("fft2", fft2 (x));
show ("ifft2", ifft2 (z, 8, 3));
show ("fftn 4", fftn (z));
show ("fftn 4 real", fftn (x));
show ("ifftn", ifftn (z, [3 4 5 6]));
show ("fft of 1009", fft (sin ((1:1009) .^ 2)));

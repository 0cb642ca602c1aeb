# R's package fftw.
library(fftw)
show <- function(name, y) {
  w <- cos(0.7 * seq_along(y))
  cat(sprintf("%s %.9e %.9e %.9e\n", name, sqrt(sum(Mod(y)^2)), sum(Re(y) * w), sum(Im(y) * w)))
}
for (n in c(1, 2, 7, 16, 60, 97, 1000)) {
  x <- sin((1:n)^2)
  z <- complex(real = x, imaginary = cos(3 * x))
  for (effort in 0:1) {
    plan <- planFFT(n, effort)
    show(sprintf("FFT %d effort %d", n, effort), FFT(z, plan = plan))
    show(sprintf("IFFT %d effort %d", n, effort), IFFT(z, plan = plan))
  }
  for (type in 1:4) if (n > 1) {
    plan <- planDCT(n, type)
    show(sprintf("DCT %d type %d", n, type), DCT(x, plan = plan))
    show(sprintf("IDCT %d type %d", n, type), IDCT(x, plan = plan))
  }
}

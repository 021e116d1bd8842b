# The bootstrap of bench/bootstrap.cpp written as an R user would, with the boot package, on
# the same data (the file that `bench_bootstrap 20000 10000 2 FILE` writes, or the boot_table.txt
# of bench_generate), for comparison of speed.
#   Rscript bench/bootstrap.R FILE [R=10000] [ncpus=2] [gvar=1,0.4] [h2=0.3,0.15]
# Needs Debian's r-base-core and r-cran-boot (not a dependency of ventrel: bench/run.sh skips
# this comparison when Rscript or the boot package is missing). The last line,
# "RESULT seconds=..", is for bench/run.sh.
suppressPackageStartupMessages(library(boot))

args <- commandArgs(trailingOnly = TRUE)
if (length(args) < 1) stop("usage: Rscript bootstrap.R DATAFILE [R] [ncpus]")
data_file <- args[1]
nrep <- if (length(args) >= 2) as.integer(args[2]) else 10000L
ncpus <- if (length(args) >= 3) as.integer(args[3]) else 2L

# The genetic variances of the focal animals and the heritabilities (those of bootstrap.cpp's
# own data unless given).
gvar <- if (length(args) >= 4) as.numeric(strsplit(args[4], ",")[[1]]) else c(1.0, 0.4)
h2 <- if (length(args) >= 5) as.numeric(strsplit(args[5], ",")[[1]]) else c(0.3, 0.15)

d <- read.table(data_file, header = TRUE)
cat(sprintf("R boot: n = %d, R = %d, ncpus = %d\n", nrow(d), nrep, ncpus))

lr_statistics <- function(x, i, gvar, h2) {
  s <- x[i, ]
  n <- nrow(s)
  c(bias = mean(s$p - s$w),
    dispersion = cov(s$w, s$p) / var(s$p),
    ratio_acc = cor(s$p, s$w),
    reliability = cov(s$p, s$w) * (n - 1) / n / gvar,
    pred_ability = cor(s$y, s$p) / sqrt(h2))
}

total <- 0
ntrait <- ncol(d) %/% 3
for (t in 1:ntrait) {
  x <- data.frame(w = d[[paste0("w", t)]], p = d[[paste0("p", t)]], y = d[[paste0("y", t)]])
  set.seed(t)
  elapsed <- system.time(
    b <- boot(x, lr_statistics, R = nrep, gvar = gvar[t], h2 = h2[t],
              parallel = if (ncpus > 1) "multicore" else "no", ncpus = ncpus)
  )[["elapsed"]]
  total <- total + elapsed
  cat(sprintf("trait %d: %.3f s\n", t, elapsed))
  for (j in seq_along(b$t0)) {
    v <- b$t[, j]
    q <- quantile(v, c(0.025, 0.975), names = FALSE)
    cat(sprintf("  %-20s %12.6f  SD %12.6f  [%12.6f, %12.6f]\n", names(b$t0)[j], b$t0[j],
                sd(v), q[1], q[2]))
  }
}
cat(sprintf("total %.3f s for %d traits (%.3f s per trait)\n", total, ntrait, total / ntrait))
cat(sprintf("RESULT seconds=%.4f draws=%.0f\n", total, as.numeric(nrow(d)) * nrep * ntrait))

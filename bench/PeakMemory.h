#ifndef CMNCRYPTO_BENCH_PEAKMEMORY_H
#define CMNCRYPTO_BENCH_PEAKMEMORY_H

/** Decrypts a long GCM stream, fed as it is made, and prints the peak memory. @return an exit code */
int printPeakMemory();

#endif

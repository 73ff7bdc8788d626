#ifndef CMNCRYPTO_BENCH_PEAKMEMORY_H
#define CMNCRYPTO_BENCH_PEAKMEMORY_H

/** Prints the peak memory of loading revocation lists and of decrypting a long GCM stream, and what idle TLS
 *  connections take. @return an exit code */
int printPeakMemory();

#endif

#ifndef CMNCRYPTO_BENCH_IDLEMEMORY_H
#define CMNCRYPTO_BENCH_IDLEMEMORY_H

/** Prints the memory that a server's idle connections take. */
void printIdleMemory();

#endif

#ifndef CMNCRYPTO_BENCH_STOREFOLDER_H
#define CMNCRYPTO_BENCH_STOREFOLDER_H

#include <string>

/** @return the root of a software store whose one store "MY" has @p count certificates with their key, of host0,
 *          host1 and so on; made at the first run and kept */
std::string storeFolder(int count);

#endif

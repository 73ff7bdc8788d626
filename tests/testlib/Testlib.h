#ifndef CMNCRYPTO_TESTLIB_TESTLIB_H
#define CMNCRYPTO_TESTLIB_TESTLIB_H

// What every test needs, under plain names: this header is included by tests alone.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cmncrypto/cmncrypto.hpp"
#include "testlib/Bytes.h"
#include "testlib/Calls.h"
#include "testlib/Log.h"
#include "testlib/Oracle.h"
#include "testlib/Streams.h"

using namespace CmnCrypto;
using namespace testlib;

#endif

#ifndef CMNCRYPTO_X509_HELD_H
#define CMNCRYPTO_X509_HELD_H

#include "frame/Failure.h"

namespace CmnCrypto {

/** @return the object that a wrapper holds @throws CmnException 20 when it is empty, as copies are */
template <class T> T* held(T* object, const char* function, const char* message) {
    if (object == nullptr) {
        fail(function, message, codeInvalidArgument);
    }
    return object;
}

} // namespace CmnCrypto

#endif

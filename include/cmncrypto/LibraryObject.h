/** @file
 * What a flat handle of kind 2 points to.
 */
#ifndef CMNCRYPTO_LIBRARYOBJECT_H
#define CMNCRYPTO_LIBRARYOBJECT_H

#include "cmncrypto/export.h"

namespace CmnCrypto {

/**
 * Base of the objects in handles of kind 2: CmnCrypto_release_Obj() deletes them through this destructor. The
 * handle holds a LibraryObject*, converted before it becomes a void*.
 */
class CMNCRYPTO_API LibraryObject {
public:
    LibraryObject() = default;
    LibraryObject(const LibraryObject&) = default;
    LibraryObject& operator=(const LibraryObject&) = default;
    virtual ~LibraryObject();
};

} // namespace CmnCrypto

#endif

#include "cmncrypto/LibraryObject.h"

namespace CmnCrypto {

LibraryObject::~LibraryObject() = default;

} // namespace CmnCrypto

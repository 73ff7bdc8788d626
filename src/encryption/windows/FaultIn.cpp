#include "encryption/FaultIn.h"

namespace CmnCrypto::Encryption {

void faultIn(unsigned char* /*memory*/, size_t /*length*/) noexcept {}

} // namespace CmnCrypto::Encryption

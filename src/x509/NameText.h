#ifndef CMNCRYPTO_X509_NAMETEXT_H
#define CMNCRYPTO_X509_NAMETEXT_H

#include <string>

#include "cmncrypto/X509Name.h"

namespace CmnCrypto {

/** X509Name::getNameDN() of a name that need not be copied for it. */
std::string nameText(const X509_NAME* name, _name_format format);

} // namespace CmnCrypto

#endif

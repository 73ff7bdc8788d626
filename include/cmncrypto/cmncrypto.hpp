/** @file
 * Every class of the library, and the flat interface.
 */
#ifndef CMNCRYPTO_CMNCRYPTO_HPP
#define CMNCRYPTO_CMNCRYPTO_HPP

#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CmnException.h"
#include "cmncrypto/Crl.h"
#include "cmncrypto/CrlConversionException.h"
#include "cmncrypto/CrlConverter.h"
#include "cmncrypto/CrlUtil.h"
#include "cmncrypto/CryptFactory.h"
#include "cmncrypto/EVPCrypter.h"
#include "cmncrypto/GCMCrypter.h"
#include "cmncrypto/HashGenerator.h"
#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/MangleCrypter.h"
#include "cmncrypto/NullCrypter.h"
#include "cmncrypto/PrivateKeyUtils.h"
#include "cmncrypto/RandomNumberGenerator.h"
#include "cmncrypto/SecureSocketLayer.h"
#include "cmncrypto/SslCtx.h"
#include "cmncrypto/X509CertChain.h"
#include "cmncrypto/X509Certificate.h"
#include "cmncrypto/X509CrlChain.h"
#include "cmncrypto/X509Name.h"
#include "cmncrypto/X509PrivateKey.h"
#include "cmncrypto/X509PublicKey.h"
#include "cmncrypto/X509Store.h"
#include "cmncrypto/X509StoreCtx.h"
#include "cmncrypto/cmncrypto.h"

#endif

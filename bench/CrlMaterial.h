#ifndef CMNCRYPTO_BENCH_CRLMATERIAL_H
#define CMNCRYPTO_BENCH_CRLMATERIAL_H

#include <string>

#include "Material.h"
#include "cmncrypto/CrlConverter.h"

/** A root, an authority below it that issues the long lists, and two certificates of that authority. */
struct ListPki {
    Owned<EVP_PKEY> issuerKey; ///< kept beside the lists that it has signed
    Owned<X509> root;
    Owned<X509> issuer;
    Owned<X509> good;        ///< on no list
    std::string rootPem;     ///< what a verifier trusts
    std::string rootListPem; ///< the root's list, empty
    std::string chainPem;    ///< the good certificate and its issuer's
};
const ListPki& listPki();

/** A list in every form in which it is loaded. */
struct ListMaterial {
    int entries = 0;
    BinaryData der;
    std::string pem;
    std::string derPath;
    std::string pemPath;
};

/**
 * @return the list with that many entries: serial numbers of 16 random bytes, every other one with a reason. It is made
 *         and signed once and kept beside the program
 */
const ListMaterial& list(int entries);

/** As list(), its files alone: for processes whose memory is measured. */
ListMaterial listFiles(int entries);

/** @return the certificate in PEM */
std::string pemOf(const X509* certificate);

/** @return the serial number of an entry of every list that has so many */
Owned<ASN1_INTEGER> serialOf(int entry);

/** @return a certificate of the lists' issuer that carries the serial number */
Owned<X509> certificateWith(const ASN1_INTEGER* serial);

#endif

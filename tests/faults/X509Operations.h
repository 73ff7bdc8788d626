#ifndef CMNCRYPTO_FAULTS_X509OPERATIONS_H
#define CMNCRYPTO_FAULTS_X509OPERATIONS_H

#include <functional>
#include <map>
#include <string>

#include "testlib/Pki.h"

/** Each answers with its result as text, and can be run again. */
using Operations = std::map<std::string, std::function<std::string()>>;

/** What is done with names, certificates, chains and keys, by the function that logs and what tells it apart. */
Operations x509Operations(const testlib::Folder& folder);

#endif

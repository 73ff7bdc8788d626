#ifndef CMNCRYPTO_FRAME_FIPSMODE_H
#define CMNCRYPTO_FRAME_FIPSMODE_H

// The switch into and out of FIPS mode, under the names that OpenSSL gave it before version 3. "On" means that
// the default library context's default properties ask for FIPS algorithms.

namespace CmnCrypto::fips {

/** @return 1 while the default properties ask for FIPS, otherwise 0 */
int FIPS_mode();

/**
 * Switches. On: loads the "fips" and "base" providers, makes sure that FIPS digests, ciphers and generators exist,
 * switches the default properties and draws a random byte; where any of that fails everything is as it was before.
 * Where the mode is on already and such algorithms serve it, nothing is done.
 * Off: switches the properties back. A thread that has drawn random numbers before a switch goes on with the
 * generator that it has.
 * @return 1, or 0 with the reason in OpenSSL's error queue
 */
int FIPS_mode_set(int on);

} // namespace CmnCrypto::fips

#endif

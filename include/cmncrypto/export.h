/** @file
 * Visibility and calling details shared by every public header (C99 and C++).
 */
#ifndef CMNCRYPTO_EXPORT_H
#define CMNCRYPTO_EXPORT_H

#if defined(_WIN32)
#if defined(CMNCRYPTO_BUILDING)
#define CMNCRYPTO_API __declspec(dllexport)
#else
#define CMNCRYPTO_API __declspec(dllimport)
#endif
#else
/** Marks what the library exports; everything else is hidden. */
#define CMNCRYPTO_API __attribute__((visibility("default")))
#endif

/** Marks a printf-like function so that compilers check its format against its arguments. */
#if defined(__MINGW32__)
#define CMNCRYPTO_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#define CMNCRYPTO_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define CMNCRYPTO_PRINTF(text, first)
#endif

/** In C++ the enumerations of the flat interface are 32 bits wide, so that any number may be passed in. */
#ifdef __cplusplus
#define CMNCRYPTO_ENUM_BASE : int32_t
#else
#define CMNCRYPTO_ENUM_BASE
#endif

#endif

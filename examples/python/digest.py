#!/usr/bin/env python3
"""The flat interface from Python (ctypes): hashing, random numbers, a password, the log callback."""
import ctypes
import hashlib
import sys

LIBRARY = "libcmncryptocore.so.1"
HASH_ALGO_NONE, HASH_ALGO_SHA256 = 0, 1
BIGNUM_TO_HEX = 0

LogCallback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p)


class CmnCrypto:
    """The few functions that this example needs. Texts that the library hands out are released with free()."""

    def __init__(self, on_log):
        self._lib = ctypes.CDLL(LIBRARY)
        self._free = ctypes.CDLL(None).free
        self._free.argtypes = [ctypes.c_void_p]
        self._lib.cmncrypto_getHash.argtypes = [
            ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(ctypes.c_void_p), ctypes.c_int32]
        self._lib.cmncrypto_getRandomNumber.argtypes = [
            ctypes.POINTER(ctypes.c_void_p), ctypes.c_int, ctypes.c_int]
        self._lib.generatePassword.restype = None
        # The library keeps the pointer for the life of the process, so the object must live as long.
        self._callback = LogCallback(on_log)
        self._lib.cmncrypto_set_log_callback(self._callback, None)

    def _take(self, pointer):
        text = ctypes.string_at(pointer).decode()
        self._free(pointer)
        return text

    def hash(self, data, algorithm):
        out = ctypes.c_void_p()
        code = self._lib.cmncrypto_getHash(data, len(data), ctypes.byref(out), algorithm)
        if code != 0:
            raise ValueError(code)
        return self._take(out)

    def random_number(self, count):
        out = ctypes.c_void_p()
        code = self._lib.cmncrypto_getRandomNumber(ctypes.byref(out), BIGNUM_TO_HEX, count)
        if code != 0:
            raise ValueError(code)
        return self._take(out)

    def password(self, length):
        buffer = ctypes.create_string_buffer(length + 1)
        self._lib.generatePassword(buffer, len(buffer))
        return buffer.value.decode()


def main():
    data = (sys.argv[1] if len(sys.argv) > 1 else "The quick brown fox").encode()
    failures = []

    def on_log(level, message, function):
        if level == 16:
            failures.append((function.decode(), message.decode()))
        return 0

    library = CmnCrypto(on_log)

    digest = library.hash(data, HASH_ALGO_SHA256)
    print("SHA256", digest)
    if digest != hashlib.sha256(data).hexdigest():
        return "the digest differs from hashlib's"

    number = library.random_number(16)
    print("random number of 16 bytes:", number)
    if len(number) != 32 or number == library.random_number(16):
        return "not a random number"

    password = library.password(20)
    print("password:", password)
    if len(password) != 20 or not password.isalnum():
        return "not a password of 20 letters and digits"

    try:
        library.hash(data, HASH_ALGO_NONE)
    except ValueError as error:
        print("hashing without an algorithm: refused with", error)
    for function, message in failures:
        print(f"  log: {function}: {message}")
    return None if failures else "the refusal was not logged"


if __name__ == "__main__":
    sys.exit(main())

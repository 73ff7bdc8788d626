#!/usr/bin/env python3
"""Decrypts an encrypted stream (IV, ciphertext, tag) with OpenSSL alone and compares it with its plaintext.

The openssl command has no authenticated ciphers, so this calls libcrypto directly; nothing of the library under
examination takes part. Ends with 0 when the tag fits and the plaintext is the same, with 1 otherwise.
"""
import argparse
import ctypes
import ctypes.util
import os
import sys

IV_LENGTH, TAG_LENGTH = 12, 16
EVP_CTRL_GCM_SET_TAG = 0x11
PIECE = 1 << 20


def libcrypto():
    lib = ctypes.CDLL(ctypes.util.find_library("crypto") or "libcrypto.so.3")
    pointer, data, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
    for name, result, arguments in (
            ("EVP_CIPHER_CTX_new", pointer, []),
            ("EVP_CIPHER_CTX_free", None, [pointer]),
            ("EVP_aes_256_gcm", pointer, []),
            ("EVP_DecryptInit_ex", number, [pointer, pointer, pointer, data, data]),
            ("EVP_DecryptUpdate", number, [pointer, pointer, ctypes.POINTER(number), data, number]),
            ("EVP_CIPHER_CTX_ctrl", number, [pointer, number, number, data]),
            ("EVP_DecryptFinal_ex", number, [pointer, pointer, ctypes.POINTER(number)])):
        function = getattr(lib, name)
        function.restype, function.argtypes = result, arguments
    return lib


def verify(key, stream, aad, plain):
    """What is wrong with the stream, None when nothing is. Both are files; neither is held in memory."""
    body = stream.seek(0, os.SEEK_END) - IV_LENGTH - TAG_LENGTH
    if body < 0:
        return "the stream is shorter than IV and tag"
    stream.seek(0)
    lib = libcrypto()
    context = lib.EVP_CIPHER_CTX_new()
    produced = ctypes.c_int()
    buffer = ctypes.create_string_buffer(PIECE + 16)
    try:
        good = lib.EVP_DecryptInit_ex(context, lib.EVP_aes_256_gcm(), None, key, stream.read(IV_LENGTH))
        if aad:
            good &= lib.EVP_DecryptUpdate(context, None, ctypes.byref(produced), aad, len(aad))
        same = True
        while body > 0:
            piece = stream.read(min(body, PIECE))
            good &= lib.EVP_DecryptUpdate(context, buffer, ctypes.byref(produced), piece, len(piece))
            same &= ctypes.string_at(buffer, produced.value) == plain.read(len(piece))
            body -= len(piece)
        good &= lib.EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, TAG_LENGTH, stream.read(TAG_LENGTH))
        good &= lib.EVP_DecryptFinal_ex(context, buffer, ctypes.byref(produced))
    finally:
        lib.EVP_CIPHER_CTX_free(context)
    if good != 1:
        return "OpenSSL refuses the stream: key, authenticated data, stream or tag do not belong together"
    return None if same and not plain.read(1) else "the stream decrypts to other data"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--key-file", required=True, help="32 raw bytes, or 64 hexadecimal digits")
    parser.add_argument("--aad", default="", help="additional authenticated data")
    parser.add_argument("--plain", required=True, help="file with the expected plaintext")
    parser.add_argument("stream", help="file with the encrypted stream")
    options = parser.parse_args()

    with open(options.key_file, "rb") as file:
        key = file.read()
    if len(key) != 32:
        key = bytes.fromhex(key.decode("ascii").strip())
    if len(key) != 32:
        return "the key file holds no 256-bit key"
    with open(options.stream, "rb") as stream, open(options.plain, "rb") as plain:
        return verify(key, stream, options.aad.encode(), plain)


if __name__ == "__main__":
    sys.exit(main())

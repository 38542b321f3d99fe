// Passwords as printable cipher text, for storing them in configuration files.
#pragma once

#include <string>
#include <vector>

#include <vdx/export.h>

// Example:
//   const std::string strPassword = "correct horse";
//   const std::string strStored = pswEncrypt(strPassword);  // Base-64 text.
//   ...
//   return pswDecrypt(strStored) == strPassword ? 0 : 1;
//
// What it protects from: a glance at the file. Whoever has the file and this
// library (with the default key) or the key (with one of your own) has the
// password; equal passwords have equal texts; a change of the text goes
// unnoticed. Where more is needed, keep the secret in the system's key store.
//
// The scheme: the text, filled with zero bytes up to a multiple of 16; AES in
// electronic-code-book mode; RC4 from the start of its key stream, with the same
// key; base-64 (RFC 4648, padded, without line breaks). A password therefore
// cannot hold a zero byte.
//
// Keys: AES takes 16, 24 or 32 bytes and does nothing with another size (see
// aesEncrypt::SetKey: RC4 alone is left); a null key stands for the default key
// (szMorvaneKey, cipher.h) in both ciphers, whatever the size; a size below 1
// with a key stands for the default key in RC4 only.
//
// Errors: none are reported; a wrong key gives garbage.
// Thread-safety: all functions.

// The cipher text of a password with the default key; empty for an empty one.
VDX_API std::string pswEncrypt(const std::string& plain);

// The password of a cipher text, up to its first zero byte. Kept: a text whose
// decoded length is not a multiple of 16 is no cipher text, and its decoded
// bytes are returned as they are. Characters outside base-64 are skipped.
VDX_API std::string pswDecrypt(const std::string& cipher);

// The same with a key.
VDX_API std::string pswEncryptEx(const std::string& plain, const unsigned char* key, int keySize);
VDX_API std::string pswDecryptEx(const std::string& cipher, const unsigned char* key, int keySize);

// The cipher text as bytes, without base-64: its length is len rounded up to a
// multiple of 16. data is not changed. No data, or a length below 1, gives none.
VDX_API std::vector<unsigned char> pswEncryptEx(unsigned char* data, int len, const unsigned char* key,
                                                int keySize);

// The inverse; zero bytes of the padding stay. Kept: data is overwritten (with
// the bytes between the two ciphers); pass a copy to keep it.
// Requires: len is a multiple of 16. Otherwise the bytes after the last whole
// block go through RC4 only.
VDX_API std::vector<unsigned char> pswDecryptEx(unsigned char* data, int len, const unsigned char* key,
                                                int keySize);

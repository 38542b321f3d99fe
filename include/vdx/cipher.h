// Ciphers for small buffers: AES in electronic-code-book mode, block padding, RC4.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <vdx/export.h>

// Example:
//   aesEncrypt cipher(key, 32);
//   std::vector<unsigned char> secret = cipher.Encrypt(data, nSize, PaddingPKCS7);
//   std::vector<unsigned char> plain = cipher.Decrypt(secret.data(), (int)secret.size(), PaddingPKCS7);
//
// What these are for: reading and writing what the applications of this family
// have stored. Equal blocks encrypt to equal blocks, nothing detects a change of
// the cipher text, and RC4 is broken: protect anything new by other means.
//
// No function reports an error: a wrong key gives wrong bytes. Lengths are in
// bytes; a negative length counts as 0, and null data as no data. The only
// exception that leaves these functions is that of a failed allocation.

// The key that is used where none is given: 16 bytes, at first the text
// "QuietHarborLamps". Read anew at each use, without a lock: an application that
// points it at 16 bytes of its own does so before it starts threads. Null stands
// for the built-in key.
extern "C" VDX_API const char* szMorvaneKey;

// How data is filled up to a multiple of the block size; n is the number of
// bytes added. Any other value pads as PaddingZeroExtra does.
enum PaddingMode : int {
    PaddingZeroExtra = 0,  // n zero bytes, n >= 1: aligned data gains a whole block.
    PaddingISO10126 = 1,   // n - 1 bytes of filler from the tick count, then n; n >= 1.
    PaddingANSIX923 = 2,   // n - 1 zero bytes, then n; n >= 1.
    PaddingPKCS7 = 3,      // n bytes that hold n; n >= 1 (RFC 5652, 6.3).
    PaddingZeros = 4,      // n zero bytes, n >= 0: aligned data stays as it is.
};

// A copy of the data with its padding. A block size below 1 adds nothing; where
// n exceeds 255, its low byte is written.
//
// Thread-safety: all threads.
VDX_API std::vector<unsigned char> clonePlainWithPadding(const unsigned char* data, int len, int blockSize,
                                                         PaddingMode mode);

// Encrypts or decrypts one block of 16 bytes (FIPS-197) with an expanded key of
// scheduleLength bytes: 176, 208 or 240 for 10, 12 or 14 rounds. in and out may
// be the same buffer. With a length below 16 there is no round key: the block is
// copied as it is. Nothing beyond 240 bytes of the schedule is used.
//
// Thread-safety: all threads. Time does not depend on the data or the key.
VDX_API void aesEncrypt128bit(const unsigned char* in, const unsigned char* schedule, int scheduleLength,
                              unsigned char* out);
VDX_API void aesDecrypt128bit(const unsigned char* in, const unsigned char* schedule, int scheduleLength,
                              unsigned char* out);

// AES with one key over whole buffers: every block of 16 bytes on its own, no
// initialisation vector. Uses the AES instructions of the processor (x86: AES-NI
// and the 256-bit VAES; ARMv8) where it has them.
//
// Thread-safety: Encrypt and Decrypt, at once on one object.
class VDX_API aesEncrypt {
public:
    // As SetKey. A null key stands for the default key, whatever keySize is.
    aesEncrypt(const unsigned char* key, int keySize);

    // Expands a key of 16, 24 or 32 bytes. Kept: any other size is no error; it
    // leaves a schedule without rounds, and Encrypt and Decrypt then hand blocks
    // on UNENCRYPTED. Check the size before.
    void SetKey(const unsigned char* key, int keySize);

    // The data, padded to a multiple of 16 bytes and encrypted. Empty for no data
    // with PaddingZeros.
    std::vector<unsigned char> Encrypt(const unsigned char* data, int len, PaddingMode mode) const;

    // The decrypted data without its padding. Unless the mode is PaddingZeros, the
    // last byte tells how many bytes are cut off when it is at most 16; the other
    // padding bytes are not looked at. So PaddingZeroExtra is in general not
    // undone, and PaddingZeros never.
    // Requires: len is a multiple of 16. Otherwise the bytes after the last whole
    // block are copied as they are.
    std::vector<unsigned char> Decrypt(const unsigned char* data, int len, PaddingMode mode) const;

private:
    unsigned char m_schedule[240];  // Round keys of 16 bytes: 11, 13 or 15.
    int m_nScheduleLength;          // Bytes of it in use: 176, 208, 240, or 0 without rounds.
};

// The RC4 stream cipher: one object is one key stream.
//
// Thread-safety: none; an object belongs to one thread at a time.
class VDX_API rc4Transfer {
public:
    // Starts the key stream. A null key, or a size below 1, stands for the default
    // key with 16 bytes. Bytes of the key beyond 256 have no effect.
    rc4Transfer(const unsigned char* key, int keySize);

    // Encrypts or decrypts in place with the next len bytes of the key stream. A
    // length below 1 does nothing.
    void Transfer(unsigned char* data, int len);

private:
    std::uint32_t m_nI;
    std::uint32_t m_nJ;
    std::uint32_t m_state[256];  // A permutation of 0 to 255.
};

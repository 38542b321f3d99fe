// A text encrypted with AES-256 and with RC4, and decrypted again.
#include <cstdio>
#include <string>
#include <vector>

#include <vdx/cipher.h>
#include <vdx/codecs.h>

namespace {

using Bytes = std::vector<unsigned char>;

bool byBlocks(const unsigned char* key, const unsigned char* data, int nSize) {
    aesEncrypt cipher(key, 32);
    std::vector<unsigned char> secret = cipher.Encrypt(data, nSize, PaddingPKCS7);
    std::vector<unsigned char> plain = cipher.Decrypt(secret.data(), (int)secret.size(), PaddingPKCS7);
    std::printf("AES: %s\n", vdxBin2Base16(secret.data(), (int)secret.size()).c_str());
    return plain == Bytes(data, data + nSize);
}

// Each object is one key stream: what one has encrypted, a second one from its start decrypts.
bool asStream(const unsigned char* key, const unsigned char* data, int nSize) {
    Bytes bytes(data, data + nSize);
    rc4Transfer(key, 32).Transfer(bytes.data(), nSize);
    std::printf("RC4: %s\n", vdxBin2Base16(bytes.data(), nSize).c_str());
    rc4Transfer(key, 32).Transfer(bytes.data(), nSize);
    return bytes == Bytes(data, data + nSize);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string strText = argc > 1 ? argv[1] : "correct horse battery staple";
    const auto* data = reinterpret_cast<const unsigned char*>(strText.data());
    const auto nSize = static_cast<int>(strText.size());
    unsigned char key[32];
    for (unsigned char i = 0; i < sizeof key; ++i)
        key[i] = i;
    return byBlocks(key, data, nSize) && asStream(key, data, nSize) ? 0 : 1;
}

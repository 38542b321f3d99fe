// Encrypts a password for a configuration file, or decrypts it:
//   password_text encrypt <password> [<key>]
//   password_text decrypt <text> [<key>]
// Without arguments it shows both. A key has 16, 24 or 32 characters.
#include <cstdio>
#include <string>

#include <vdx/password.h>

namespace {

int usage() {
    std::fputs("usage: password_text encrypt|decrypt <text> [<key of 16, 24 or 32 characters>]\n", stderr);
    return 2;
}

// Other key sizes are no error to the library, but leave the text without AES.
bool isKeySize(std::size_t n) {
    return n == 16 || n == 24 || n == 32;
}

std::string convert(bool bEncrypt, const std::string& strText, const std::string& strKey) {
    const auto* key = strKey.empty() ? nullptr : reinterpret_cast<const unsigned char*>(strKey.data());
    const int nKeySize = static_cast<int>(strKey.size());
    return bEncrypt ? pswEncryptEx(strText, key, nKeySize) : pswDecryptEx(strText, key, nKeySize);
}

int show() {
    const std::string strPassword = "correct horse";
    const std::string strStored = pswEncrypt(strPassword);
    std::printf("%s -> %s -> %s\n", strPassword.c_str(), strStored.c_str(), pswDecrypt(strStored).c_str());
    return pswDecrypt(strStored) == strPassword ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) return show();
    if (argc < 3 || argc > 4) return usage();
    const std::string strAction = argv[1];
    const std::string strKey = argc == 4 ? argv[3] : "";
    if ((strAction != "encrypt" && strAction != "decrypt") || (argc == 4 && !isKeySize(strKey.size())))
        return usage();
    std::puts(convert(strAction == "encrypt", argv[2], strKey).c_str());
    return 0;
}

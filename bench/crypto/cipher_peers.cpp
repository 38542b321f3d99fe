// The same work by other libraries: OpenSSL and Botan.
#include "crypto/cipher_peers.h"

#include <algorithm>
#include <string>

#include <botan/block_cipher.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

namespace {

using Context = std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)>;

Context makeContext() {
    return Context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
}

// OpenSSL 3 looks a cipher up by name for each initialisation with the older calls; a fetched
// one is its quickest way.
EVP_CIPHER* fetchAes(std::size_t nKey) {
    const char* szName = nKey == 16 ? "AES-128-ECB" : nKey == 24 ? "AES-192-ECB" : "AES-256-ECB";
    return EVP_CIPHER_fetch(nullptr, szName, nullptr);
}

EVP_CIPHER* fetchRc4() {
    OSSL_PROVIDER_load(nullptr, "legacy");
    OSSL_PROVIDER_load(nullptr, "default");
    return EVP_CIPHER_fetch(nullptr, "RC4", nullptr);
}

void update(EVP_CIPHER_CTX* pContext, unsigned char* out, const unsigned char* in, std::size_t nSize) {
    int n = 0;
    EVP_CipherUpdate(pContext, out, &n, in, static_cast<int>(nSize));
}

class OpensslAes : public AesPeer {
public:
    OpensslAes(const Bytes& key, bool bEncrypt) : m_pCipher(fetchAes(key.size())), m_bEncrypt(bEncrypt) {
        EVP_CipherInit_ex(m_context.get(), m_pCipher, nullptr, key.data(), nullptr, m_bEncrypt ? 1 : 0);
        EVP_CIPHER_CTX_set_padding(m_context.get(), 0);
    }
    ~OpensslAes() override { EVP_CIPHER_free(m_pCipher); }
    Bytes run(const Bytes& data) override {
        Bytes result(data.size());
        update(m_context.get(), result.data(), data.data(), data.size());
        return result;
    }
    void runBlock(unsigned char* block) override { update(m_context.get(), block, block, 16); }
    void setKey(const Bytes& key) override {
        EVP_CipherInit_ex(m_context.get(), nullptr, nullptr, key.data(), nullptr, m_bEncrypt ? 1 : 0);
    }

private:
    Context m_context = makeContext();
    EVP_CIPHER* m_pCipher;
    bool m_bEncrypt;
};

class BotanAes : public AesPeer {
public:
    BotanAes(const Bytes& key, bool bEncrypt)
        : m_pCipher(Botan::BlockCipher::create_or_throw("AES-" + std::to_string(key.size() * 8))),
          m_bEncrypt(bEncrypt) {
        m_pCipher->set_key(key.data(), key.size());
    }
    Bytes run(const Bytes& data) override {
        Bytes result(data.size());
        if (m_bEncrypt) {
            m_pCipher->encrypt_n(data.data(), result.data(), data.size() / 16);
        } else {
            m_pCipher->decrypt_n(data.data(), result.data(), data.size() / 16);
        }
        return result;
    }
    void runBlock(unsigned char* block) override {
        m_bEncrypt ? m_pCipher->encrypt_n(block, block, 1) : m_pCipher->decrypt_n(block, block, 1);
    }
    void setKey(const Bytes& key) override { m_pCipher->set_key(key.data(), key.size()); }

private:
    std::unique_ptr<Botan::BlockCipher> m_pCipher;
    bool m_bEncrypt;
};

}  // namespace

std::unique_ptr<AesPeer> opensslAes(const Bytes& key, bool bEncrypt) {
    return std::make_unique<OpensslAes>(key, bEncrypt);
}

std::unique_ptr<AesPeer> botanAes(const Bytes& key, bool bEncrypt) {
    return std::make_unique<BotanAes>(key, bEncrypt);
}

struct Rc4Peer::State {
    Context context = makeContext();
    EVP_CIPHER* pCipher = fetchRc4();
    ~State() { EVP_CIPHER_free(pCipher); }
};

Rc4Peer::Rc4Peer(const Bytes& key) : m_pState(std::make_unique<State>()) {
    EVP_CipherInit_ex(m_pState->context.get(), m_pState->pCipher, nullptr, key.data(), nullptr, 1);
}

Rc4Peer::~Rc4Peer() = default;

void Rc4Peer::transfer(unsigned char* data, std::size_t nSize) {
    update(m_pState->context.get(), data, data, nSize);
}

struct PasswordPeer::State {
    Context aes = makeContext();
    Context rc4 = makeContext();
    EVP_CIPHER* pAes = fetchAes(16);
    EVP_CIPHER* pRc4 = fetchRc4();
    ~State() {
        EVP_CIPHER_free(pAes);
        EVP_CIPHER_free(pRc4);
    }
};

PasswordPeer::PasswordPeer() : m_pState(std::make_unique<State>()) {
    EVP_CipherInit_ex(m_pState->aes.get(), m_pState->pAes, nullptr, nullptr, nullptr, 1);
    EVP_CipherInit_ex(m_pState->rc4.get(), m_pState->pRc4, nullptr, nullptr, nullptr, 1);
}

PasswordPeer::~PasswordPeer() = default;

std::string PasswordPeer::encrypt(const std::string& strPlain, const unsigned char* key) {
    Bytes bytes((strPlain.size() + 15) / 16 * 16);
    std::copy(strPlain.begin(), strPlain.end(), bytes.begin());
    EVP_CipherInit_ex(m_pState->aes.get(), nullptr, nullptr, key, nullptr, 1);
    EVP_CIPHER_CTX_set_padding(m_pState->aes.get(), 0);
    update(m_pState->aes.get(), bytes.data(), bytes.data(), bytes.size());
    EVP_CipherInit_ex(m_pState->rc4.get(), nullptr, nullptr, key, nullptr, 1);
    update(m_pState->rc4.get(), bytes.data(), bytes.data(), bytes.size());
    std::string strText((bytes.size() + 2) / 3 * 4, 0);
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(strText.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    return strText;
}

std::string PasswordPeer::decrypt(const std::string& strText, const unsigned char* key) {
    Bytes bytes(strText.size() / 4 * 3);
    EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(strText.data()),
                    static_cast<int>(strText.size()));
    bytes.resize(bytes.size() / 16 * 16);
    EVP_CipherInit_ex(m_pState->rc4.get(), nullptr, nullptr, key, nullptr, 1);
    update(m_pState->rc4.get(), bytes.data(), bytes.data(), bytes.size());
    EVP_CipherInit_ex(m_pState->aes.get(), nullptr, nullptr, key, nullptr, 0);
    EVP_CIPHER_CTX_set_padding(m_pState->aes.get(), 0);
    update(m_pState->aes.get(), bytes.data(), bytes.data(), bytes.size());
    return std::string(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), 0) - bytes.begin()));
}

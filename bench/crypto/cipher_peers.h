// The same work by other libraries: OpenSSL and Botan.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

// AES in ECB mode with one key in one direction, set up once, without padding. run makes a
// new result, as ours does; runBlock changes one block in place.
class AesPeer {
public:
    virtual ~AesPeer() = default;
    virtual Bytes run(const Bytes& data) = 0;
    virtual void runBlock(unsigned char* block) = 0;
    virtual void setKey(const Bytes& key) = 0;
};

std::unique_ptr<AesPeer> opensslAes(const Bytes& key, bool bEncrypt);
std::unique_ptr<AesPeer> botanAes(const Bytes& key, bool bEncrypt);

// One stream of RC4 from OpenSSL's legacy provider.
class Rc4Peer {
public:
    explicit Rc4Peer(const Bytes& key);
    ~Rc4Peer();
    Rc4Peer(const Rc4Peer&) = delete;
    Rc4Peer& operator=(const Rc4Peer&) = delete;
    void transfer(unsigned char* data, std::size_t nSize);

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

// The password scheme with a key of 16 bytes on OpenSSL: AES in ECB mode over the text filled
// with zeros, RC4, base-64. Its contexts are made once and given the key at each call.
class PasswordPeer {
public:
    PasswordPeer();
    ~PasswordPeer();
    PasswordPeer(const PasswordPeer&) = delete;
    PasswordPeer& operator=(const PasswordPeer&) = delete;
    std::string encrypt(const std::string& strPlain, const unsigned char* key);
    std::string decrypt(const std::string& strText, const unsigned char* key);

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

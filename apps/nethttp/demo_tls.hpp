#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace cli {

/// The bytes of one connection, at the server's side.
class Transport {
public:
    Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    virtual ~Transport() = default;

    /// Both answer how many bytes they moved; 0 or less when the connection is over.
    virtual long receive(char* bytes, std::size_t size) = 0;
    virtual long send(const char* bytes, std::size_t size) = 0;
};

/// TLS at the server's side, with the one certificate that it shows.
class DemoTls {
public:
    /// @param context  An `SSL_CTX`, owned from then on.
    explicit DemoTls(void* context) : context_(context) {}
    DemoTls(const DemoTls&) = delete;
    DemoTls& operator=(const DemoTls&) = delete;
    ~DemoTls();

    /// Shakes hands on an accepted connection, which stays the caller's.
    ///
    /// @return Null when the client refused.
    [[nodiscard]] std::unique_ptr<Transport> accept(int connection) const;

private:
    void* context_;
};

/// A certificate authority made on the spot.
class DemoAuthority {
public:
    DemoAuthority();
    DemoAuthority(const DemoAuthority&) = delete;
    DemoAuthority& operator=(const DemoAuthority&) = delete;
    ~DemoAuthority();

    /// Tells whether it could be made.
    [[nodiscard]] bool isSound() const;
    /// Answers its certificate as a bundle holds it.
    [[nodiscard]] std::string pem() const;
    /// Makes a server certificate for "localhost", valid between two days counted from today.
    ///
    /// @return Null when OpenSSL refuses.
    [[nodiscard]] std::unique_ptr<DemoTls> makeServer(int firstDay, int lastDay) const;

private:
    struct Identity;
    std::unique_ptr<Identity> identity_;
};

}  // namespace cli

#pragma once

/// The calls of OpenSSL that can be made to fail. The program that links this defines them itself
/// and hands them on.
enum class SslCall { MethodNew, ExIndex, BioNew, BioRead, ContextNew, SslNew, Connect, ToUtf8 };

/// Makes the next call on this thread fail; those of others, and later ones, do their work.
class SslFault {
public:
    /// @param skip  Calls that do their work before the one that fails.
    explicit SslFault(SslCall call, int skip = 0);
    SslFault(const SslFault&) = delete;
    SslFault& operator=(const SslFault&) = delete;
    ~SslFault();

private:
    SslCall call_;
};

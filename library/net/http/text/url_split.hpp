#pragma once

#include "net/http/http.hpp"

namespace Libraries::Networks::HTTP::Client {

/// The protocols that an exchange can speak, made when the library is loaded.
extern const Ref<String>& ProtocolHttp;   // NOLINT(readability-identifier-naming): a constant
extern const Ref<String>& ProtocolHttps;  // NOLINT(readability-identifier-naming): likewise

using SplitFlags = Definitions::Set<Request::SplitFlag, unsigned int,
                                    Definitions::EnumSeqConvert<Request::SplitFlag, unsigned int>>;

/// `Request::splitUrl` without the reference that it holds; the library's only URL parser.
bool splitUrlCore(const Ref<String>& url, Ref<String>& protocol, Ref<String>& host,
                  std::uint16_t& port, Ref<String>& path, SplitFlags flags);

/// The port of a protocol that names none: 80 for "http", 443 for "https", 0 for any other.
std::uint16_t defaultPort(const Ref<String>& protocol) noexcept;

}  // namespace Libraries::Networks::HTTP::Client

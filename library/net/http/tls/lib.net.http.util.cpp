// TLS is not part of this build: a connection that needs it is refused, and the log says so.

#include "net/http/tls/lib.net.http.util.hpp"

#include "net/http/http.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Utils {

Ref<NetStream> createSSLStream(Ref<Socket>, const Ref<String>& host,
                               const Definitions::Set<SSLFlag>&) {
    if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
        record << "TLS is not available for " << host;
    }
    Error::set(Client::ErrTransfer);
    return nullptr;
}

}  // namespace Libraries::Networks::HTTP::Utils

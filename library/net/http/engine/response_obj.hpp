#pragma once

#include "net/http/http.hpp"

namespace Libraries::Networks::HTTP::Client {

/// The only implementation of `Response`, made at the end of a successful exchange. Its fields
/// stand in the order of their destruction, backwards.
class ResponseObj final : public Object, public virtual Response {
public:
    /// @param memoryBody  What collected the body; null when it went to the application's stream.
    ResponseObj(std::uint64_t statusCode, Ref<String> reasonPhrase,
                const HeaderFields& headerFields, Ref<MemOutStrm> memoryBody,
                std::uint64_t bodySize, bool wasRedirected, Ref<String> url);

    [[nodiscard]] std::uint64_t statusCode() const override;
    [[nodiscard]] Ref<String> reasonPhrase() const override;
    [[nodiscard]] const HeaderFields& headerFields() const override;
    [[nodiscard]] const void* bodyData() const override;
    [[nodiscard]] std::uint64_t bodySize() const override;
    [[nodiscard]] bool wasRedirected() const override;
    [[nodiscard]] Ref<String> url() const override;

private:
    std::uint64_t statusCode_;
    Ref<String> reasonPhrase_;
    HeaderFields headerFields_;
    Ref<MemOutStrm> memoryBody_;
    std::uint64_t bodySize_;
    bool wasRedirected_;
    Ref<String> url_;
};

}  // namespace Libraries::Networks::HTTP::Client

#pragma once

#include "platform/runtime/object.hpp"
#include "platform/streams/streams.hpp"

#include "options.hpp"

namespace cli {

/// The body of the request, as the options name it.
class BodySource {
public:
    /// Opens the file, or reads standard input, a pipe and the like to their end; options without a
    /// body leave it out.
    ///
    /// @return False after a complaint.
    [[nodiscard]] bool open(const Options& options);
    /// Answers the source, null when there is no body; it borrows what this object holds.
    [[nodiscard]] const Ref<Interfaces::Stripe>& stripe() const { return stripe_; }

private:
    bool collectFile(const std::string& file);
    bool collect(int descriptor, const std::string& name);

    Ref<MemOutStrm> collected_;  // holds the bytes of:
    Ref<Interfaces::Stripe> stripe_;
};

}  // namespace cli

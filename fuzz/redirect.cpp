// Input: switches (1: redirects are not followed), then lines: the host of the hop, the first URL,
// and one Location for each redirect.

#include "net/http/engine/redirect.hpp"

#include "platform/runtime/error.hpp"

#include "fuzz/quiet_log.hpp"
#include "fuzz/target.hpp"
#include "tests/support/plain_rules.hpp"

namespace {

using namespace Libraries::Networks::HTTP::Client;  // NOLINT(google-build-using-namespace)
using plain_rules::Chain;

Chain::Step decide(const Ref<String>& location, const HopTarget& hop, bool follow,
                   RedirectState& state) {
    HeaderFields fields;
    fields.emplace("location", location);
    Error::set(0);
    const Redirect decision = decideRedirect(fields, hop, follow, state);
    const bool failed = decision == Redirect::Failed;
    fuzz::require(Error::get() == (failed ? ErrTransfer : 0), "a cycle alone sets the code");
    if (failed) {
        return Chain::Step::Cycle;
    }
    fuzz::require((decision == Redirect::Follow) == (follow && state.currentUrl),
                  "a hop is followed when it leads somewhere");
    return state.currentUrl ? Chain::Step::Moved : Chain::Step::NoLocation;
}

}  // namespace

/// A chain of redirects goes where the plain rewrite of its rules goes, and ends where that ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::quietLog();
    fuzz::Input input(data, size);
    const bool follow = (input.switches() & 1U) == 0;
    const std::string host(input.until("\n"));
    const std::string first(input.until("\n"));
    const HopTarget hop = {"https", host, 8443, "/"};
    Chain chain(first);
    RedirectState state;
    state.currentUrl = first;
    Chain::Step step = Chain::Step::Moved;
    while (step == Chain::Step::Moved && !input.empty()) {
        const std::string location(input.until("\n"));
        step = chain.take(location, {"https", host, 8443});
        fuzz::require(decide(location, hop, follow, state) == step,
                      "the chain takes the same step");
        fuzz::require(chain.current() ? state.currentUrl == *chain.current() : !state.currentUrl,
                      "the step leads to the same URL");
    }
    return 0;
}

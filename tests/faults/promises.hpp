#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/faults/walk.hpp"

/// What docs/errors.md promises for calls that fail.
namespace FaultWalk {

/// Stands for a code that nobody can foresee.
inline constexpr std::uint32_t AnyCode = UINT32_MAX;

struct Promise {
    const Kind* kind = nullptr;
    /// How the record of a failure may begin. None: the fault does not show.
    std::vector<std::string_view> failures = {};
    /// How a warning may begin. Where `mayAnswer` is not set, an error brings at least one.
    std::vector<std::string_view> warnings = {};
    /// Whether there may be an answer in spite of `failures`, the same as without the fault.
    bool mayAnswer = false;
    /// The code of the failures' records; 0: that of the host's error, as in the warnings.
    std::uint32_t code = 0;
    /// Whether the records of `failures` may come with an answer: a dump lacks what they tell of.
    bool isOfADump = false;
};

using Promises = std::vector<Promise>;

/// Answers the promises for the host's calls in a plain exchange. A later promise for the same kind
/// of call replaces an earlier one.
Promises hostPromises();
/// The same for an exchange over TLS, and those for OpenSSL's calls.
Promises tlsPromises();

/// Answers a judge for the promises: an answer is whole and the same as without the fault; a failure
/// has a code, a record that was promised, and that record the code of the call.
std::function<std::string(const Point&, const Result&, const Result&)> judgeBy(Promises promises);

/// Answers a judge for exchanges that must fail, whatever else goes wrong.
std::function<std::string(const Point&, const Result&, const Result&)> judgeRefusal();

/// The step of a scenario that opens a file.
inline constexpr const char* OpenStep = "open";
/// The step that asks whether a server can be reached.
inline constexpr const char* ProbeStep = "probe";

}  // namespace FaultWalk

#include "platform/runtime/system.hpp"

#include <mutex>

#include "platform/runtime/host.hpp"

namespace {

std::mutex parameterLock;

Ref<String>& replacedParameter() {
    static Ref<String> parameter;
    return parameter;
}

}  // namespace

std::uint64_t Sys::info(std::uint32_t fact) noexcept {
    static const std::uint64_t memory = Host::installedMemory();
    return fact == InstalledMemory ? memory : 0;
}

Ref<String> Sys::bootParameter() {
    {
        const std::lock_guard guard(parameterLock);
        if (replacedParameter()) {
            return replacedParameter();
        }
    }
    const char* const text = Host::environment("VORNIK_BOOT");
    return text != nullptr ? String::create(text) : Host::kernelCommandLine();
}

void Sys::setBootParameter(const Ref<String>& text) {
    const std::lock_guard guard(parameterLock);
    replacedParameter() = text;
}

Ref<String> PlatformEnvironment::getLongProductName(Ref<String> key) {
    if (!key || !key->equals("Vornik")) {
        return nullptr;
    }
    static const Ref<String> name =
        String::concat({"Vornik/" NETHTTP_VERSION " (Linux ", Host::machine()->view(), ")"});
    return name;
}

// Facts about the system, as texts and numbers that the host's binding reads.

#include "platform/runtime/system.hpp"

#include <mutex>
#include <new>
#include <string_view>

#include "platform/runtime/host.hpp"

namespace {

std::mutex parameterLock;

/// Never destroyed: an exchange may still run while the process ends.
Ref<String>& replacedParameter() {
    static auto* const parameter =
        new (Heap::alloc(sizeof(Ref<String>), Heap::Object)) Ref<String>();
    return *parameter;
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

Ref<String> Sys::hostPath(const Ref<String>& path) {
    const char* const root = Host::trustedEnvironment("VORNIK_ROOT");
    if (root == nullptr) {
        return path;
    }
    std::string_view folder(root);
    while (folder.ends_with('/')) {
        folder.remove_suffix(1);
    }
    return String::concat({folder, path->view()});
}

Ref<String> PlatformEnvironment::getLongProductName(Ref<String> key) {
    if (!key || !key->equals("Vornik")) {
        return nullptr;
    }
    // Never destroyed: an exchange may still run while the process ends.
    static String* const name =
        String::concat({"Vornik/" NETHTTP_VERSION " (Linux ", Host::machine()->view(), ")"})
            .detach();
    return Ref<String>(name);
}

#include "demo_world.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "platform/log/log.hpp"
#include "platform/runtime/system.hpp"

#include "demo_tls.hpp"
#include "host.hpp"
#include "messages.hpp"
#include "text.hpp"

namespace cli {

namespace {

/// The records that are being kept: a sink is a plain function and has no other way to know.
std::vector<std::string>*& keptTexts() {
    static std::vector<std::string>* texts = nullptr;
    return texts;
}

void keep(std::uint32_t, const char*, std::string_view text) {
    keptTexts()->emplace_back(text);
}

}  // namespace

DemoWorld::~DemoWorld() {
    std::error_code ignored;  // a temporary folder that stays harms nobody
    if (!folder_.empty()) {
        std::filesystem::remove_all(folder_, ignored);
    }
}

bool DemoWorld::makeFolder(std::string_view bundle) {
    folder_ = host::makeTemporaryFolder();
    std::error_code error;
    std::filesystem::create_directories(folder_ + "/system/base", error);
    if (folder_.empty() || error) {
        return false;
    }
    std::ofstream file(folder_ + "/system/base/certs.pem", std::ios::binary);
    file << bundle << std::flush;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
    return file.good() && ::setenv("VORNIK_ROOT", folder_.c_str(), 1) == 0;
}

std::string DemoWorld::start() {
    const DemoAuthority authority;
    std::unique_ptr<DemoTls> good = authority.isSound() ? authority.makeServer(-1, 7) : nullptr;
    std::unique_ptr<DemoTls> old = authority.isSound() ? authority.makeServer(-9, -1) : nullptr;
    if (!good || !old) {
        return "certificates";
    }
    if (!makeFolder(authority.pem())) {
        return "a temporary folder";
    }
    // The library reads the parameter once, when it first needs it.
    Sys::setBootParameter(stringOf(textOf(Sys::bootParameter()) + " lib.net.http.sslcerts.debug"));
    plain_ = std::make_unique<DemoServer>();
    trusted_ = std::make_unique<DemoServer>(std::move(good));
    expired_ = std::make_unique<DemoServer>(std::move(old));
    return plain_->start() && trusted_->start() && expired_->start() ? "" : "a server";
}

KeptRecords::KeptRecords(std::uint32_t level) : levelBefore_(SysLogFilter::level()) {
    SysLogFilter::setLevel(level);
    keptTexts() = &texts_;
    SysLogStream::setSink(keep);
}

KeptRecords::~KeptRecords() {
    SysLogStream::setSink(nullptr);
    SysLogFilter::setLevel(levelBefore_);
}

std::string KeptRecords::thatBeginWith(const std::vector<std::string_view>& starts) const {
    std::string lines;
    for (const std::string& text : texts_) {
        if (std::any_of(starts.begin(), starts.end(),
                        [&](std::string_view start) { return text.starts_with(start); })) {
            lines += "log:      " + printable(text) + '\n';
        }
    }
    return lines;
}

}  // namespace cli

// Files that are written beside their name.

#include "partial_file.hpp"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli {

namespace {

constexpr mode_t permissionBits = 0777;

/// Answers whether a name stands for an open file of this process, or for another device.
bool isSpecialName(const std::string& name) {
    std::error_code ignored;
    const std::string path = std::filesystem::absolute(name, ignored).lexically_normal().string();
    return path.starts_with("/dev/") || path.starts_with("/proc/");
}

/// Answers whether a file can be replaced by another without anybody noticing.
bool isReplaceable(const std::string& name, const struct stat& facts) {
    return S_ISREG(facts.st_mode) && facts.st_nlink == 1 && facts.st_uid == ::geteuid() &&
           ::faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) == 0;
}

/// What a partial file becomes.
struct Target {
    std::string path;
    std::optional<mode_t> permissions;  ///< Those of the file that is there.
};

std::optional<Target> targetOf(const std::string& name) {
    struct stat facts {};
    if (name.empty() || name.back() == '/' || name.find('\0') != name.npos || isSpecialName(name)) {
        return std::nullopt;
    }
    if (::stat(name.c_str(), &facts) == 0) {
        std::error_code error;
        const std::string path = std::filesystem::canonical(name, error).string();
        if (error || !isReplaceable(name, facts)) {
            return std::nullopt;
        }
        return Target{path, facts.st_mode & permissionBits};
    }
    // A link to a file that is not there yet is opened to create that file.
    if (errno != ENOENT || ::lstat(name.c_str(), &facts) == 0) {
        return std::nullopt;
    }
    return Target{name, std::nullopt};
}

}  // namespace

std::unique_ptr<PartialFile> PartialFile::create(const std::string& name) {
    constexpr int mostTries = 1000;
    constexpr mode_t newFile = 0666;
    const std::optional<Target> target = targetOf(name);
    for (int number = 0; target && number < mostTries; ++number) {
        const std::string path =
            target->path + ".part" + (number != 0 ? '.' + std::to_string(number) : "");
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                      target->permissions.value_or(newFile));
        if (descriptor >= 0) {
            if (target->permissions) {
                (void)::fchmod(descriptor, *target->permissions);  // the umask does not hold for it
            }
            return std::make_unique<PartialFile>(descriptor, path, target->path);
        }
        if (errno != EEXIST && errno != EINTR) {
            break;
        }
    }
    return nullptr;
}

PartialFile::PartialFile(int descriptor, std::string path, std::string target)
    : descriptor_(descriptor), path_(std::move(path)), target_(std::move(target)) {}

PartialFile::~PartialFile() {
    (void)close();
}

int PartialFile::close() {
    const int descriptor = std::exchange(descriptor_, -1);
    // Interrupted or not, Linux has given the descriptor back; a network's file system may tell here
    // that it could not keep what was written.
    return descriptor >= 0 && ::close(descriptor) != 0 && errno != EINTR ? errno : 0;
}

int PartialFile::complete() {
    const int error = close();
    if (error != 0) {
        return error;
    }
    return std::rename(path_.c_str(), target_.c_str()) == 0 ? 0 : errno;
}

void PartialFile::remove() {
    (void)close();
    (void)::unlink(path_.c_str());
}

}  // namespace cli

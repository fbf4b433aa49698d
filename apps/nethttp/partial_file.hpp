#pragma once

#include <memory>
#include <string>

namespace cli {

/// A file that is written beside the one it is to become, so that whoever looks at the name finds
/// what was there before or the whole, and nothing between.
class PartialFile {
public:
    /// Creates `NAME.part`, or with a number behind it if that is taken, with the permissions of the
    /// file it is to replace. Links are followed.
    ///
    /// @return Null when the file has to be written in its place: it is no regular file, has other
    ///         names or another owner, may not be written to, or nothing can be created beside it.
    static std::unique_ptr<PartialFile> create(const std::string& name);
    PartialFile(int descriptor, std::string path, std::string target);
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile();

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] const std::string& path() const { return path_; }
    /// Closes it and gives it its name.
    ///
    /// @return 0, or the system's error number.
    [[nodiscard]] int complete();
    void remove();

private:
    int close();

    int descriptor_;
    std::string path_;
    std::string target_;
};

}  // namespace cli

#include "platform/DurableFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ostinel::DurableFile {

namespace fs = std::filesystem;

std::optional<Error> writeSynced(const std::string& path, const std::string& text) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return Error::ofSystem(errno);
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            const int code = errno;
            ::close(fd);
            return Error::ofSystem(code);
        }
        done += std::size_t(n);
    }
    if (::fsync(fd) != 0) {
        const int code = errno;
        ::close(fd);
        return Error::ofSystem(code);
    }
    if (::close(fd) != 0) return Error::ofSystem(errno);
    return std::nullopt;
}

std::optional<Error> replace(const std::string& path, const std::string& text) {
    std::error_code error;
    fs::path target(path);
    if (fs::is_symlink(target, error)) {
        const fs::path link = fs::read_symlink(target, error);
        if (error) return Error{error.message()};
        target = link.is_absolute() ? link : target.parent_path() / link;
    }
    // Appended piece by piece: GCC 12 warns falsely of overlap on "." + name.
    std::string name = ".";
    name += target.filename().string();
    name += ".saving";
    const fs::path temporary = target.parent_path() / name;
    if (auto failed = writeSynced(temporary.string(), text)) {
        fs::remove(temporary, error);
        return failed;
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) {
        const int code = errno;
        fs::remove(temporary, error);
        return Error::ofSystem(code);
    }
    return std::nullopt;
}

} // namespace ostinel::DurableFile

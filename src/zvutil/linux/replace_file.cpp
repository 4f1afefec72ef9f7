#include "zvutil/replace_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/linux/signals_held.h"

namespace zvevent {
namespace {

// The file that is to be replaced: its path behind all links, and its status when it exists.
struct Target {
    std::string path;
    bool exists = false;
    struct stat status {};
};

struct FreeDeleter {
    void operator()(char* text) const { std::free(text); }
};

class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }

    int Get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    // Network file systems report some write errors only here.
    bool Close() {
        if (descriptor_ < 0) return true;
        const int result = close(descriptor_);
        descriptor_ = -1;
        return result == 0 || errno == EINTR;
    }

private:
    int descriptor_;
};

template <typename Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

bool WriteAll(int descriptor, std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t written =
            RetryInterrupted([&] { return write(descriptor, contents.data(), contents.size()); });
        if (written <= 0) return false;
        contents.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool FindTarget(const char* path, Replace how, Target& target) {
    struct stat link {};
    const std::unique_ptr<char, FreeDeleter> resolved(realpath(path, nullptr));
    if (!resolved) {
        target.path = path;
        // A link without a target is left alone: what it names may only be away for a while.
        return how == Replace::kAlsoCreates && errno == ENOENT && lstat(path, &link) != 0;
    }
    target.path = resolved.get();
    target.exists = true;
    return stat(target.path.c_str(), &target.status) == 0 && S_ISREG(target.status.st_mode) &&
           faccessat(AT_FDCWD, target.path.c_str(), W_OK, AT_EACCESS) == 0;
}

// The owner first: changing it may take mode bits away. Where this process may not give files away
// the new file is its own.
bool TakeOver(int descriptor, const Target& target) {
    if (!target.exists) return true;
    const struct stat& from = target.status;
    const bool same_owner = from.st_uid == geteuid() && from.st_gid == getegid();
    if (!same_owner && fchown(descriptor, from.st_uid, from.st_gid) != 0 && errno != EPERM) {
        return false;
    }
    return fchmod(descriptor, from.st_mode & 07777u) == 0;
}

// A temporary file left by a killed process has its name taken, so that the next number is tried.
int CreateBeside(const Target& target, std::string& name) {
    constexpr int kAttempts = 100;
    const mode_t mode = target.exists ? 0600 : 0666;
    static std::atomic<std::uint32_t> serial{0};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name = target.path + ".zvtmp-" + std::to_string(getpid()) + '-' + std::to_string(serial++);
        const int descriptor =
            open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// So that the rename outlives a power failure. Not every file system can do it, and the file is in
// place by then, so that the result does not matter.
void SyncDirectoryOf(const std::string& target) {
    const std::string directory = target.substr(0, target.find_last_of('/') + 1);
    const Descriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) fsync(descriptor.Get());
}

}  // namespace

bool ReadWholeFile(const char* path, std::size_t max_bytes, std::string& contents) {
    // Non-blocking, as the path may name a pipe that nobody writes to.
    const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    contents.clear();
    char block[16384];
    for (;;) {
        const ssize_t got =
            RetryInterrupted([&] { return read(file.Get(), block, sizeof(block)); });
        if (got <= 0) return got == 0;
        contents.append(block, static_cast<std::size_t>(got));
        if (contents.size() > max_bytes) return false;
    }
}

bool ReplaceFileContents(const char* path, std::string_view contents, Replace how) {
    Target target;
    if (!FindTarget(path, how, target)) return false;
    const bool synced = how == Replace::kExistingSynced;
    const SignalsHeld held({SIGXFSZ});
    std::string temporary;
    Descriptor file(CreateBeside(target, temporary));
    if (!file) return false;
    const bool written = TakeOver(file.Get(), target) && WriteAll(file.Get(), contents) &&
                         (!synced || RetryInterrupted([&] { return fsync(file.Get()); }) == 0);
    if (!file.Close() || !written || std::rename(temporary.c_str(), target.path.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    if (synced) SyncDirectoryOf(target.path);
    return true;
}

}  // namespace zvevent

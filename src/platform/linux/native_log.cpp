#include "platform/native_log.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>

#include "base/number_text.h"
#include "base/syslog_code.h"
#include "platform/linux/system_logger.h"

namespace zvevent {

namespace {

const char* logger_path = "/dev/log";

// How long a logger that has always kept up may let an event wait: its queue holds ten or so, and
// a burst fills it.
constexpr timeval kPatience = {0, 200'000};

// Loggers find the end of the tag by these.
constexpr bool EndsTag(char c) {
    return (c >= 0 && c <= ' ') || c == 0x7F || c == ':' || c == '[' || c == ']';
}

std::string TagOf(std::string text) {
    std::replace_if(text.begin(), text.end(), EndsTag, '_');
    return text;
}

bool NobodyListens(int error) {
    return error == ENOENT || error == ENOTDIR || error == ECONNREFUSED;
}

// The peer that the socket was connected to has gone; there may be a new one.
bool PeerIsGone(int error) {
    return error == ECONNREFUSED || error == ENOTCONN || error == ECONNRESET || error == EPIPE;
}

class SystemLogger final : public NativeLog {
public:
    explicit SystemLogger(const NativeLogSettings& settings)
        : path_(logger_path),
          source_name_(settings.source_name),
          tag_(TagOf(settings.source_name)),
          facility_(SyslogFacility(settings.facility)) {}

    ~SystemLogger() override { Disconnect(); }

    bool Write(std::uint32_t severity, const std::string& text, std::string& reason) override {
        WriteHeader(severity);
        int error = Send(text);
        if (PeerIsGone(error)) {
            Disconnect();
            error = Send(text);
        }
        // Once a logger is full there is no more waiting until it takes something again.
        is_stuck_ = error == EAGAIN;
        if (error == 0) return true;
        if (NobodyListens(error)) {
            reason.assign("source '").append(source_name_).append("' is not registered");
        } else {
            reason.assign("system logger failed error=");
            AppendDecimal(reason, error);
        }
        return false;
    }

private:
    // The logger stamps the time.
    void WriteHeader(std::uint32_t severity) {
        header_ = '<';
        AppendDecimal(header_, SyslogPriority(facility_, severity));
        header_.append(">").append(tag_).append("[");
        AppendDecimal(header_, getpid());
        header_ += "]: ";
    }

    // These two return 0 or the system's code.
    int Send(const std::string& text) {
        const int connected = Connect();
        if (connected != 0) return connected;
        iovec parts[] = {{header_.data(), header_.size()},
                         {const_cast<char*>(text.data()), text.size()}};
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        const int flags = MSG_NOSIGNAL | (is_stuck_ ? MSG_DONTWAIT : 0);
        for (;;) {
            if (sendmsg(socket_, &message, flags) >= 0) return 0;
            if (errno != EINTR) return errno;
        }
    }

    int Connect() {
        if (socket_ >= 0) return 0;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path_.size() >= sizeof address.sun_path) return ENAMETOOLONG;
        std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (socket_ < 0) return errno;
        if (setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience) == 0 &&
            connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return 0;
        }
        const int error = errno;
        Disconnect();
        return error;
    }

    void Disconnect() {
        if (socket_ >= 0) close(socket_);
        socket_ = -1;
    }

    const std::string path_;
    const std::string source_name_;
    const std::string tag_;
    const std::uint32_t facility_;
    int socket_ = -1;
    bool is_stuck_ = false;
    std::string header_;
};

}  // namespace

void SetSystemLoggerPath(const char* path) {
    logger_path = path;
}

std::unique_ptr<NativeLog> NativeLog::Create(const NativeLogSettings& settings) noexcept {
    try {
        return std::make_unique<SystemLogger>(settings);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace zvevent

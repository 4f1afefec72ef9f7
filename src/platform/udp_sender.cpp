#include "platform/udp_sender.h"

#include "base/number_text.h"

namespace zvevent {

bool UdpSender::Open(std::string& error) {
    if (IsOpen()) return true;
    if (const int code = owner_.start_network(); code != 0) {
        error.assign("WSAStartup failed for ").append(owner_.sink).append(": ");
        AppendDecimal(error, code);
        return false;
    }
    const std::optional<Failure> failure = OpenSocket();
    if (!failure) return true;
    return Fail(
        failure->step == Step::kResolve ? " resolve failed for " : " socket creation failed for ",
        failure->code, error);
}

bool UdpSender::Send(std::string_view datagram, std::string& error) {
    const std::optional<int> code = SendDatagram(datagram);
    return !code || Fail(" send failed to ", *code, error);
}

bool UdpSender::Fail(std::string_view what, int code, std::string& error) const {
    error.assign(owner_.channel).append(what).append(host_) += ':';
    AppendDecimal(error, port_);
    error += " error=";
    AppendDecimal(error, code);
    return false;
}

}  // namespace zvevent

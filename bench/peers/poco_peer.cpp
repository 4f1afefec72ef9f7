// Poco's AsyncChannel. Its queue has no bounds: with one it drops.
#include <Poco/AsyncChannel.h>
#include <Poco/FileChannel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>

#include "peers/columns.h"
#include "peers/peer.h"

namespace zvevent::bench {

namespace {

Poco::AutoPtr<Poco::AsyncChannel> channel;
Poco::Logger* logger = nullptr;

class CountingChannel final : public Poco::Channel {
public:
    explicit CountingChannel(void (*delivered)(std::uint64_t)) : delivered_(delivered) {}
    void log(const Poco::Message& message) override { delivered_(IdIn(message.getText())); }

private:
    void (*delivered_)(std::uint64_t);
};

Poco::Channel::Ptr FileOf(const char* path) {
    Poco::Channel::Ptr file(new Poco::FileChannel(path));
    file->setProperty(Poco::FileChannel::PROP_FLUSH, "false");
    return file;
}

}  // namespace

void StartPeer(const PeerSetup& setup) {
    const Poco::Channel::Ptr target =
        setup.csv_path != nullptr ? FileOf(setup.csv_path)
                                  : Poco::Channel::Ptr(new CountingChannel(setup.delivered));
    channel = new Poco::AsyncChannel(target);
    channel->open();
    logger = &Poco::Logger::create("bench", channel, Poco::Message::PRIO_WARNING);
}

void SubmitToPeer(std::uint64_t event_id) {
    logger->warning(ColumnsText(event_id));
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    if (delivered == nullptr) {  // a file: what is queued is written at the end
        StopPeer();
        return 0;
    }
    return AwaitDeliveries(submitted, delivered);
}

void StopPeer() {
    channel->close();
    Poco::Logger::shutdown();
    channel = nullptr;
}

}  // namespace zvevent::bench

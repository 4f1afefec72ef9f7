// In a build without the outbox: no entry that names one gets as far as opening it.
#include "sinks/outbox_store.h"

namespace zvevent {

struct OutboxStore::Statements {};

bool OutboxStore::IsBuiltIn() {
    return false;
}

OutboxStore::OutboxStore() = default;
OutboxStore::~OutboxStore() = default;

bool OutboxStore::Open(const std::string&, std::string&) {
    return false;
}

bool OutboxStore::OpenExisting(const std::string&, std::string&) {
    return false;
}

void OutboxStore::Close() {}

bool OutboxStore::SetSyncEach(bool, std::string&) {
    return false;
}

bool OutboxStore::Put(const OutboxEvent&, std::string&) {
    return false;
}

bool OutboxStore::TakeFirst(OutboxEvent&, std::string&) {
    return false;
}

bool OutboxStore::Remove(const OutboxEvent&, std::string&) {
    return false;
}

bool OutboxStore::Refuse(const OutboxEvent&, std::uint32_t, std::uint64_t, std::string&) {
    return false;
}

bool OutboxStore::ForEach(const std::function<void(const OutboxEvent&)>&, std::string&) {
    return false;
}

bool OutboxStore::RetryRefused(std::string&) {
    return false;
}

bool OutboxStore::Drop(bool, bool, std::string&) {
    return false;
}

}  // namespace zvevent

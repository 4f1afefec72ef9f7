#include "base/last_error.h"

#include <pthread.h>

#include <memory>
#include <new>

namespace zvevent {

namespace {

// A thread's text, or null while it has none. Not a thread_local object: for one with a destructor
// the mingw-w64 runtime keeps the DLL loaded until its thread ends, and then frees the DLL from
// inside the DLL. This way a thread that outlives the library loses a few bytes instead.
struct ThreadText {
    ThreadText() {
        const auto destroy = [](void* text) { delete static_cast<std::string*>(text); };
        usable = pthread_key_create(&key, destroy) == 0;
    }

    pthread_key_t key;
    bool usable;
};

const ThreadText& Slot() {
    static const ThreadText slot;
    return slot;
}

std::string* Existing() {
    return Slot().usable ? static_cast<std::string*>(pthread_getspecific(Slot().key)) : nullptr;
}

std::string& Text() {
    if (std::string* const text = Existing()) return *text;
    auto created = std::make_unique<std::string>();
    if (!Slot().usable || pthread_setspecific(Slot().key, created.get()) != 0) {
        throw std::bad_alloc();
    }
    return *created.release();
}

}  // namespace

void SetLastErrorText(std::string_view text) {
    Text().assign(text);
}

void ClearLastErrorText() noexcept {
    if (std::string* const text = Existing()) text->clear();
}

const std::string& LastErrorText() {
    return Text();
}

}  // namespace zvevent

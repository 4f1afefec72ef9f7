// An object that is never destroyed: threads may use it until the very end of the process.
#pragma once

#include <new>

namespace zvevent {

template <typename T>
class NoDestructor {
public:
    NoDestructor() { Renew(); }
    NoDestructor(const NoDestructor&) = delete;
    NoDestructor& operator=(const NoDestructor&) = delete;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }
    T* operator->() noexcept { return &**this; }

    // Puts a new object in its place and leaves what the old one holds as it is: in a forked
    // child, where locks may be held by threads that are not there.
    void Renew() { new (storage_) T(); }

private:
    alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace zvevent

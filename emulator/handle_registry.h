// Owner of the objects whose addresses are handed to callers as handles. A handle is
// looked up before use, so a stale or foreign pointer is refused instead of followed.
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

namespace cades_emulator {

template <typename T>
class HandleRegistry {
public:
    HandleRegistry() = default;
    HandleRegistry(const HandleRegistry&) = delete;
    HandleRegistry& operator=(const HandleRegistry&) = delete;

    // Takes ownership; the object is found again under `handle`.
    T* add(const void* handle, std::unique_ptr<T> object) {
        std::lock_guard<std::mutex> lock(mutex_);
        T* raw = object.get();
        objects_[handle] = std::move(object);
        return raw;
    }

    T* find(const void* handle) const {
        if (handle == nullptr) return nullptr;
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second.get();
    }

    // Gives the object back to the caller (to destroy it); null when unknown.
    std::unique_ptr<T> take(const void* handle) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(handle);
        if (found == objects_.end()) return nullptr;
        std::unique_ptr<T> object = std::move(found->second);
        objects_.erase(found);
        return object;
    }

private:
    mutable std::mutex mutex_;
    std::unordered_map<const void*, std::unique_ptr<T>> objects_;
};

}  // namespace cades_emulator

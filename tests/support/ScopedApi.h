#pragma once

// Restores a platform table when the test ends, whatever the test changed in it.
//
//   Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
//   registry->RegSetValueExW = FailingSetValue;

namespace Testing {

template <typename Api> class ScopedApi {
public:
    explicit ScopedApi(Api& live) : live(live), saved(live) {}
    ScopedApi(const ScopedApi&) = delete;
    ScopedApi& operator=(const ScopedApi&) = delete;
    ~ScopedApi() { live = saved; }

    Api* operator->() { return &live; }
    Api& operator*() { return live; }
    const Api& Saved() const { return saved; }

private:
    Api& live;
    Api saved;
};

} // namespace Testing

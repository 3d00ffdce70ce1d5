#include "etl/Decoder.h"
#include "etl/GuidText.h"
#include "etl/PropertyLocator.h"
#include "tests/etl/PayloadBuilder.h"
#include "tests/etl/TestManifests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

// Every allocation of this test program, counted by replacing the global allocation functions
// (their own executable, so that no other test shares the replacement).

namespace {

std::atomic<size_t> allocations{0};

void* Allocate(size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(size_t size)
{
    return Allocate(size);
}

void* operator new[](size_t size)
{
    return Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, size_t) noexcept
{
    std::free(memory);
}

namespace {

using Testing::MakeEvent;
using Testing::PayloadBuilder;

TEST(DecoderAllocations, NoneInSteadyStateForManifestAndSystemEvents)
{
    Etl::Decoder decoder;
    decoder.LoadManifest(Testing::ProductManifest());
    const Etl::Guid product = *Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");
    const Etl::Guid kernelProcess = *Etl::ParseGuid("22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716");
    const std::vector<uint8_t> operational =
        PayloadBuilder().Wide(u"app.exe").Wide(u"Name").Wide(u"Message").Wide(u"").Wide(u"stack").Data();
    const std::vector<uint8_t> threadStart = PayloadBuilder().U32(1).U32(2).Bytes(std::vector<uint8_t>(60, 0)).Data();
    const Etl::Event productEvent = MakeEvent(product, 2012, 1, operational);
    const Etl::Event kernelEvent = MakeEvent(kernelProcess, 3, 1, threadStart);

    const size_t before = allocations.load();
    uint64_t found = 0;
    for (int round = 0; round < 1000; ++round) {
        const Etl::EventDescription* description = decoder.Describe(productEvent);
        found += Etl::LocateProperty(productEvent, *description, u"Stack").size;
        found += Etl::LocateProperty(productEvent, *description, u"ProcessName").size;
        const Etl::EventDescription* kernel = decoder.Describe(kernelEvent);
        found += Etl::LocateProperty(kernelEvent, *kernel, u"SubProcessTag").size;
    }
    EXPECT_EQ(allocations.load() - before, 0u);
    EXPECT_EQ(found, 1000u * (12 + 16 + 4));
}

TEST(DecoderAllocations, CountsTheAllocationsItIsShown)
{
    // The counter itself works: a check that cannot pass by accident.
    const size_t before = allocations.load();
    auto* memory = new std::vector<int>(3);
    delete memory;
    EXPECT_EQ(allocations.load() - before, 2u);
}

} // namespace

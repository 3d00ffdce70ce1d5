#include "platform/EtwApi.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/DebugTrace.h"
#include "trace/EtwWriter.h"
#include "trace/Log.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// {6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}, written out here rather than taken from the
// code under test.
constexpr GUID diagnosticsProvider = {0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};

void* Address(PENABLECALLBACK callback)
{
    return reinterpret_cast<void*>(callback);
}

} // namespace

TEST(ProviderRegistration, RegistersTheProviderGuidWithItsEnableCallbackAndContext)
{
    Testing::ProviderEmulator provider;
    EXPECT_EQ(0u, Trace::RegisterProvider());

    ASSERT_EQ(1u, provider.Registrations().size());
    const Testing::ProviderRegistration& registration = provider.Registrations()[0];
    EXPECT_TRUE(IsEqualGUID(diagnosticsProvider, registration.providerId));
    EXPECT_TRUE(IsEqualGUID(diagnosticsProvider, Trace::ProviderGuid));
    EXPECT_EQ(Address(Trace::ProviderEnableCallback), Address(registration.callback));
    EXPECT_NE(nullptr, registration.context);
}

TEST(ProviderRegistration, CallbackContextIsTheStateTheWriterReads)
{
    Testing::ProviderEmulator provider;
    ASSERT_EQ(0u, Trace::RegisterProvider());
    const Testing::ProviderRegistration& registration = provider.Registrations().at(0);

    registration.callback(&registration.providerId, EVENT_CONTROL_CODE_ENABLE_PROVIDER, 2, 0x1, 0, nullptr,
                          registration.context);
    EXPECT_EQ(0x800u, Trace::ProviderEnableBits());
}

TEST(ProviderRegistration, EventsCarryTheHandleEventRegisterGaveOut)
{
    Testing::ProviderEmulator provider;
    ASSERT_EQ(0u, Trace::RegisterProvider());
    provider.Enable(0, Testing::AllKeywords);
    Trace::WriteOperationalEvent(Trace::LogLevel::Error, "test", "message", "");

    ASSERT_EQ(1u, provider.Writes().size());
    EXPECT_NE(0u, provider.Registrations().at(0).handle);
    EXPECT_EQ(provider.Registrations().at(0).handle, provider.Writes()[0].handle);
}

TEST(ProviderRegistration, SecondCallReturnsZeroWithoutRegisteringAgain)
{
    Testing::ProviderEmulator provider;
    ASSERT_EQ(0u, Trace::RegisterProvider());
    provider.FailEventRegister(ERROR_ACCESS_DENIED); // would show if it were called again

    EXPECT_EQ(0u, Trace::RegisterProvider());
    EXPECT_EQ(1u, provider.Registrations().size());
}

TEST(ProviderRegistration, FailureIsReturnedAndTheNextCallTriesAgain)
{
    Testing::ProviderEmulator provider;
    provider.FailEventRegister(ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_ENOUGH_MEMORY), Trace::RegisterProvider());

    provider.FailEventRegister(ERROR_SUCCESS);
    EXPECT_EQ(0u, Trace::RegisterProvider());
    EXPECT_EQ(0u, Trace::RegisterProvider());

    ASSERT_EQ(2u, provider.Registrations().size());
    EXPECT_EQ(0u, provider.Registrations()[0].handle);
    EXPECT_NE(0u, provider.Registrations()[1].handle);
}

TEST(ProviderRegistration, RunningSessionEnablesTheProviderDuringRegistration)
{
    Testing::ProviderEmulator provider;
    provider.EnableAtRegistration(4, 0x1, 0);
    ASSERT_EQ(0u, Trace::RegisterProvider());

    EXPECT_EQ(0xE00u, Trace::ProviderEnableBits());
}

TEST(ProviderRegistration, EnsureConfiguredRegistersOnce)
{
    Testing::ProviderEmulator provider;
    Trace::EnsureConfigured(Trace::SkipCrashHandlers);
    Trace::EnsureConfigured(0);
    Trace::Category log("test");
    log->Error("configured");

    ASSERT_EQ(1u, provider.Registrations().size());
    EXPECT_TRUE(IsEqualGUID(diagnosticsProvider, provider.Registrations()[0].providerId));
}

TEST(ProviderRegistration, SkipProviderRegistrationNeverRegistersNorWrites)
{
    Testing::ProviderEmulator provider;
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    Trace::Category log("test");
    Testing::EmitEveryLevel(*log);
    Trace::TraceEnter(L"enter");
    Trace::TraceExit(L"exit");
    Trace::TraceError(L"error");

    EXPECT_TRUE(provider.Registrations().empty());
    EXPECT_TRUE(provider.Writes().empty());
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
    // No session can reach a provider that never registered.
    EXPECT_THROW(provider.Enable(0, Testing::AllKeywords), std::logic_error);
}

TEST(ProviderEmulator, PutsTheSystemEntriesBackWhenItEnds)
{
    {
        Testing::ProviderEmulator provider;
        EXPECT_NE(Platform::SystemEtw().EventRegister, Platform::Etw().EventRegister);
        EXPECT_NE(Platform::SystemEtw().EventWriteTransfer, Platform::Etw().EventWriteTransfer);
    }
    EXPECT_EQ(Platform::SystemEtw().EventRegister, Platform::Etw().EventRegister);
    EXPECT_EQ(Platform::SystemEtw().EventWriteTransfer, Platform::Etw().EventWriteTransfer);
}

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "sys/process_sys.h"
#include "sys/service_sys.h"
#include "tests/support/test_support.h"

namespace {

using namespace service_sys;

const std::wstring kName = L"HollinSetupTestSvc";

bool WaitForState(DWORD wanted) {
    for (int pass = 0; pass < 100; ++pass) {
        if (GetServiceState(kName) == wanted) {
            return true;
        }
        Sleep(100);
    }
    return false;
}

// The restart actions as the service manager reports them; the platform error, or 0.
DWORD ReadFailureActions(DWORD& resetPeriod, std::vector<SC_ACTION>& actions) {
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    SC_HANDLE service = OpenServiceW(manager, kName.c_str(), SERVICE_QUERY_CONFIG);
    std::vector<BYTE> buffer(8192);
    DWORD needed = 0;
    const bool read = QueryServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS,
                                           buffer.data(), static_cast<DWORD>(buffer.size()),
                                           &needed) != FALSE;
    const DWORD error = read ? 0 : GetLastError();
    if (read) {
        auto* failure = reinterpret_cast<SERVICE_FAILURE_ACTIONSW*>(buffer.data());
        resetPeriod = failure->dwResetPeriod;
        actions.assign(failure->lpsaActions, failure->lpsaActions + failure->cActions);
    }
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
    return error;
}

class ServiceControl : public ::testing::Test {
protected:
    void SetUp() override {
        DeleteServiceByName(kName);
        binary_ = test_support::BinFolder() + L"\\test_service.exe";
    }
    void TearDown() override {
        if (GetServiceState(kName) != kStateUnknown) {
            StopService(kName);
            WaitForState(SERVICE_STOPPED);
        }
        DeleteServiceByName(kName);
    }
    std::wstring binary_;
};

// What an installation over an installed agent meets: a service to rewrite, one already
// running, one already gone. The properties a first installation gives are checked by the
// installation's own tests.
TEST_F(ServiceControl, Lifecycle) {
    bool exists = true;
    ASSERT_EQ(ServiceExists(kName, exists), kStatusOk);
    EXPECT_FALSE(exists);
    EXPECT_EQ(GetServiceState(kName), kStateUnknown);
    EXPECT_EQ(GetImagePath(kName), L"");

    ASSERT_EQ(CreateOrUpdateService(kName, binary_, kOwnProcess, kAutoStart, L"Test Agent",
                                    L"First description"),
              kStatusOk);
    // Rewriting an existing service: no display name means the service name.
    ASSERT_EQ(CreateOrUpdateService(kName, binary_, kOwnProcess, kDemandStart, nullptr,
                                    L"Second description"),
              kStatusOk);
    std::wstring name, description;
    ServiceStartMode mode{};
    EXPECT_EQ(GetServiceDisplayNameW(kName, name), kStatusOk);
    EXPECT_EQ(GetServiceDescription(kName, description), kStatusOk);
    EXPECT_EQ(GetStartMode(kName, mode), kStatusOk);
    EXPECT_EQ(name + L"|" + description, kName + L"|Second description");
    EXPECT_EQ(mode, kDemandStart);

    ASSERT_EQ(StartServiceByName(kName), kStatusOk);
    EXPECT_TRUE(WaitForState(SERVICE_RUNNING));
    EXPECT_EQ(StartServiceByName(kName), kStatusOk);  // already running
    EXPECT_EQ(StopService(kName), kStatusOk);
    EXPECT_TRUE(WaitForState(SERVICE_STOPPED));

    EXPECT_EQ(DeleteServiceByName(kName), kStatusOk);
    EXPECT_EQ(DeleteServiceByName(kName), kStatusOk);  // already gone
    ASSERT_EQ(ServiceExists(kName, exists), kStatusOk);
    EXPECT_FALSE(exists);
    EXPECT_EQ(StopService(kName), kStatusServiceFailed);
    EXPECT_EQ(GetServiceDescription(kName, description), kStatusServiceFailed);
}

TEST_F(ServiceControl, RestartsThreeTimesOnFailure) {
    ASSERT_EQ(CreateOrUpdateService(kName, binary_, kOwnProcess, kAutoStart), kStatusOk);
    ASSERT_EQ(SetServiceRecovery(kName), kStatusOk);
    DWORD resetPeriod = 99;
    std::vector<SC_ACTION> actions;
    if (ReadFailureActions(resetPeriod, actions) == ERROR_INVALID_LEVEL) {
        GTEST_SKIP() << "this service manager accepts failure actions but cannot report them";
    }
    ASSERT_EQ(actions.size(), 3u);
    EXPECT_EQ(resetPeriod, 0u);
    for (const SC_ACTION& action : actions) {
        EXPECT_EQ(action.Type, SC_ACTION_RESTART);
        EXPECT_EQ(action.Delay, 2000u);
    }
}

TEST_F(ServiceControl, StartFailureAndMissingProgram) {
    ASSERT_EQ(CreateOrUpdateService(kName, binary_ + L".missing", kOwnProcess, kDemandStart),
              kStatusOk);
    DWORD lastError = 0;
    EXPECT_EQ(StartServiceByName(kName, &lastError), kStatusServiceNotStarted);
    EXPECT_NE(lastError, 0u);
}

TEST_F(ServiceControl, MarkedForDeletionCannotBeRewritten) {
    ASSERT_EQ(CreateOrUpdateService(kName, binary_, kOwnProcess, kDemandStart), kStatusOk);
    // An open handle keeps a deleted service marked for deletion.
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    SC_HANDLE held = OpenServiceW(manager, kName.c_str(), SERVICE_QUERY_STATUS);
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(DeleteServiceByName(kName), kStatusOk);
    EXPECT_EQ(DeleteServiceByName(kName), kStatusOk);  // marked already: done as well

    DWORD lastError = 0;
    Status rewrite = CreateOrUpdateService(kName, binary_, kOwnProcess, kAutoStart, nullptr,
                                           nullptr, &lastError);
    CloseServiceHandle(held);
    CloseServiceHandle(manager);
    if (rewrite == kStatusOk && lastError == 0) {
        GTEST_SKIP() << "this service manager removes a deleted service at once, "
                        "without a marked-for-deletion state";
    }
    EXPECT_EQ(rewrite, kStatusServiceNotStarted);
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_SERVICE_MARKED_FOR_DELETE));
}

}  // namespace

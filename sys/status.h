#pragma once

#include <cstdint>

// A signed 32-bit result: 0 success, negative failure, positive success with a remark.
// Every status of the program is named here, once per meaning. Where one value carries
// several meanings (the agent and its older tools fixed them), each meaning has its own
// name and the comment says which others share the value.
using Status = std::int32_t;

constexpr Status ToStatus(std::uint32_t code) { return static_cast<Status>(code); }
constexpr bool Failed(Status status) { return status < 0; }

constexpr Status kStatusOk = 0;
// Installed; a restart finishes the installation.
constexpr Status kStatusRestartNeeded = ToStatus(0x10000005);

// Run and start-up.
constexpr Status kStatusMissingParameters = ToStatus(0x80000017);  // shared, see below
constexpr Status kStatusNotAdministrator = ToStatus(0x80000060);
constexpr Status kStatusUnknownBrand = ToStatus(0x80000043);
// Any other exception reached a thread's outermost frame; the run ends with it.
constexpr Status kStatusUnexpectedException = ToStatus(0x80000044);
constexpr Status kStatusVersionUnreadable = ToStatus(0x80000041);
// Returned by the operations that later work fills in.
constexpr Status kStatusNotImplemented = ToStatus(0x80004001);

// System services.
constexpr Status kStatusWaitFailed = ToStatus(0x80000008);
constexpr Status kStatusRegistryFailed = ToStatus(0x80000011);
// Not found, or not the kind of file system entry expected.
constexpr Status kStatusNotFound = ToStatus(0x80000013);
constexpr Status kStatusConversionFailed = ToStatus(0x80000015);
constexpr Status kStatusServiceFailed = ToStatus(0x80000030);
constexpr Status kStatusServiceManagerUnavailable = ToStatus(0x80000037);
constexpr Status kStatusFileWriteFailed = ToStatus(0x80000040);
constexpr Status kStatusCannotStartProgram = ToStatus(0x80000157);
constexpr Status kStatusCopyFailed = ToStatus(0x8000002D);
constexpr Status kStatusRebootRegistrationFailed = ToStatus(0x8000002E);
constexpr Status kStatusRenameFailed = ToStatus(0x8000002F);
// A folder could not be opened or given its access list.
constexpr Status kStatusFolderNotSecured = ToStatus(0x80000045);
// A file of the package is missing or not the one the manifest in setup.exe names.
constexpr Status kStatusPackageNotVerified = ToStatus(0x80000046);
// A downloaded installer is unsigned, its signature does not hold, or another signed it.
constexpr Status kStatusDownloadNotTrusted = ToStatus(0x80000047);
// A run killed earlier left changes that could not be put right; nothing more was changed.
constexpr Status kStatusRecoveryFailed = ToStatus(0x80000048);

// 0x80000052 has four meanings, told apart by the operation that returns it:
// the service could not be started, or is marked for deletion until the next restart;
constexpr Status kStatusServiceNotStarted = ToStatus(0x80000052);
// a folder could not be deleted now and goes at the next restart;
constexpr Status kStatusRemovalAtRestart = ToStatus(0x80000052);
// agent files of an earlier installation still wait for the restart that removes them;
constexpr Status kStatusRestartBeforeInstall = ToStatus(0x80000052);
// a prerequisite was installed and takes effect after a restart.
constexpr Status kStatusPrerequisiteNeedsRestart = ToStatus(0x80000052);

// Runtime and backend.
constexpr Status kStatusNoRuntime = ToStatus(0x80000001);
constexpr Status kStatusDownloadUnavailable = ToStatus(0x8000000A);
// The invite answer is not a JSON object holding the token that was sent.
constexpr Status kStatusUnexpectedResponse = ToStatus(0x8000000B);
constexpr Status kStatusJsonParseFailed = ToStatus(0x80000042);
constexpr Status kStatusInviteGone = ToStatus(0x80000064);
// The policy could not be downloaded; the install window words it like 0x8000000B.
constexpr Status kStatusPolicyUnavailable = ToStatus(0x80000102);
constexpr Status kStatusHttpStatus = ToStatus(0x80000203);

// Installation.
constexpr Status kStatusProbeNotStarted = ToStatus(0x80000127);
// 0x80000014 has two meanings: .NET Framework is still missing after its installer ran;
constexpr Status kStatusStillMissing = ToStatus(0x80000014);
// and the agent ended its farewell run with an exit code other than 0 or 0x80000017.
constexpr Status kStatusFarewellFailed = ToStatus(0x80000014);

// Removal.
constexpr Status kStatusNothingInstalled = ToStatus(0x80000031);
// 0x80000017 has two meanings: the command line lacks what the run needs (above), and the
// agent refused the uninstall password, passed on as the agent's own exit code.
constexpr Status kStatusPasswordRefused = ToStatus(0x80000017);
constexpr Status kStatusDatabaseUnavailable = ToStatus(0x80000021);

// The agent's database.
constexpr Status kStatusDatabaseNotOpen = ToStatus(0x80000150);
constexpr Status kStatusTableMissing = ToStatus(0x80000151);
constexpr Status kStatusNoSuchCell = ToStatus(0x80000152);

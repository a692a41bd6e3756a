#pragma once

#include <cstdint>

// A signed 32-bit result: 0 success, negative failure, positive success with a remark.
using Status = std::int32_t;

constexpr Status ToStatus(std::uint32_t code) { return static_cast<Status>(code); }
constexpr bool Failed(Status status) { return status < 0; }

constexpr Status kStatusOk = 0;
constexpr Status kStatusNoRuntime = ToStatus(0x80000001);
constexpr Status kStatusRestartNeeded = ToStatus(0x10000005);
constexpr Status kStatusWaitFailed = ToStatus(0x80000008);
constexpr Status kStatusRegistryFailed = ToStatus(0x80000011);
// Not found, or not the kind of file system entry expected.
constexpr Status kStatusNotFound = ToStatus(0x80000013);
constexpr Status kStatusConversionFailed = ToStatus(0x80000015);
constexpr Status kStatusUnexpectedResponse = ToStatus(0x8000000B);
constexpr Status kStatusMissingParameters = ToStatus(0x80000017);
constexpr Status kStatusServiceFailed = ToStatus(0x80000030);
constexpr Status kStatusServiceManagerUnavailable = ToStatus(0x80000037);
// The service could not be started or is marked for deletion; also "restart needed" for files.
constexpr Status kStatusPendingRestart = ToStatus(0x80000052);
constexpr Status kStatusNotAdministrator = ToStatus(0x80000060);
constexpr Status kStatusInviteGone = ToStatus(0x80000064);
constexpr Status kStatusHttpStatus = ToStatus(0x80000203);
constexpr Status kStatusCannotStartProgram = ToStatus(0x80000157);
constexpr Status kStatusFileWriteFailed = ToStatus(0x80000040);
constexpr Status kStatusUnknownBrand = ToStatus(0x80000043);
// Any other exception reached a thread's outermost frame; the run ends with it.
constexpr Status kStatusUnexpectedException = ToStatus(0x80000044);
constexpr Status kStatusVersionUnreadable = ToStatus(0x80000041);
// Returned by the operations that later work fills in.
constexpr Status kStatusNotImplemented = ToStatus(0x80004001);

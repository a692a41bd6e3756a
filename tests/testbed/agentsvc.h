#pragma once

// Exit codes of the testbed agent, shared with the tests that check them.
constexpr unsigned long kCloneExitCode = 0xC10E;
constexpr unsigned long kUnknownRunExitCode = 0x7E57;
constexpr unsigned long kFarewellRefused = 0x80000017;

#pragma once

constexpr unsigned long kSetup2ExitCode = 0x5E72;

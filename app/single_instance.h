#pragma once

// Takes the setup's single-instance mutex for the rest of the process. False when another
// setup holds it. In session 0 the name is the machine's, so an ordinary user could make it
// first to block every setup: a mutex of that name that this program cannot open with full
// access, or that no administrator made, is not another setup, and the run goes on.
bool ClaimSingleInstance(const wchar_t* name);

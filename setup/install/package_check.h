#pragma once

#include <string>

#include "setup/logging.h"
#include "sys/status.h"

// setup.exe is often started from a folder an ordinary user can write: a download folder.
// A library planted there would run as SYSTEM in setup and in the service. So nothing is
// loaded or deployed from that folder: the files the package manifest names are copied into
// a folder of the run below the secured setup folder, each copy checked against the
// manifest, and only the copies are used.
namespace package_check {

// Opens setup.exe's own file for the rest of the run so that nobody may write, rename or
// delete it; called first thing. Its copy in the package is taken from this handle.
void HoldOwnProgram();

// A file this run wrote into its start folder itself (the -publickey certificate, the -av
// installer): staged with the package, though no manifest can name it.
void NoteWrittenByThisRun(const std::wstring& path);

// The manifest this program carries as a resource; empty when it carries none.
std::string CarriedManifest();

// Makes a new folder below parent with the data tree's list given at creation and stages the
// package there: the manifest's files checked for size and SHA-256, setup.exe from the held
// handle, and the files this run wrote. Every other file of the start folder is left out
// with a line in the log. kStatusPackageNotVerified, with a line naming the file, for a
// file missing or changed, or no manifest; the folder is gone again then.
Status StageVerified(const std::wstring& parent, const std::string& manifest, CLogging& log,
                     std::wstring& folder);

}  // namespace package_check

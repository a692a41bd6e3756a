#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "setup/logging.h"
#include "sys/status.h"

// The agent's data tree below ProgramData, made safe before anything is written there.
// ProgramData lets every user create folders: a user may have made the agent's folders
// first, with files in them under lists of the user's own, to read the invite token or
// change the configuration before it is put in place.
namespace data_tree {

// Whether an entry, open through its handle, was made by us: by default its owner is the
// system, Administrators or this elevated setup's own account (sys/owner_rule.h).
using OwnerTest = std::function<bool(HANDLE entry, const std::wstring& path)>;
bool MadeByAdministrators(HANDLE entry, const std::wstring& path);

// For each folder of the tree, parents first: a missing one is created with its list given
// at creation; one not made by us is moved aside, removed (at the restart when held) and
// created anew; one of ours loses every entry not made by us, and everything else in it
// gets its list. The setup and temp folders are emptied. The company folder above is taken
// over the same way when it holds nothing but ours. Nothing is changed when a folder not
// made by us cannot be moved aside: kStatusFolderNotSecured, as when a list cannot be given;
// kStatusNotFound for a link or file where a folder belongs.
Status SecureDataTree(const std::wstring& dataFolder, CLogging& log,
                      const OwnerTest& ours = MadeByAdministrators);

}  // namespace data_tree

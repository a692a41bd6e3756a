#include "setup/uninstall/uninstall.h"

Status UninstallAgent(IProgressCallback* /*progress*/, const std::wstring& /*password*/) {
    return kStatusNotImplemented;  // the uninstall sequence is not written yet
}

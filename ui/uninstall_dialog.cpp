#include "ui/uninstall_dialog.h"

bool CUninstallDialog::Start(std::uint32_t /*languageId*/, bool /*beta*/) {
    return false;  // the uninstall window is not written yet
}

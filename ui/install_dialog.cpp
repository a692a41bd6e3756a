#include "ui/install_dialog.h"

bool CInstallDialog::Start(std::uint32_t /*languageId*/, bool /*beta*/) {
    return false;  // the install window is not written yet
}

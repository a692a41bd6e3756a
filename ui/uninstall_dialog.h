#pragma once

#include "ui/dialog_base.h"

class CUninstallDialog final : public CDialogBase {
public:
    bool Start(std::uint32_t languageId, bool beta) override;
};

#pragma once

#include "ui/dialog_base.h"

class CInstallDialog final : public CDialogBase {
public:
    bool Start(std::uint32_t languageId, bool beta) override;
};

#include "ui/dialog_base.h"

CDialogBase::~CDialogBase() = default;

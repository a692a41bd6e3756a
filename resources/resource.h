#pragma once

// Window title and class of the hidden shutdown-block window.
#define IDS_APP_TITLE 103
#define IDI_SETUP 107
#define IDI_SMALL 108
#define IDC_SETUP 109

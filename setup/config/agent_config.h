#pragma once

#include <string>

#include "setup/setup_settings.h"
#include "sys/ini_sys.h"
#include "sys/status.h"

// The agent's configuration vocabulary: the file, its one section and its keys.
namespace agent_config {

inline constexpr wchar_t kFileName[] = L"agentconfig.conf";
inline constexpr char kSection[] = "agent";

inline constexpr char kBaseUrl[] = "baseurl";
inline constexpr char kToken[] = "token";
inline constexpr char kBrandId[] = "bid";
inline constexpr char kProxyEnabled[] = "proxy_enabled";
inline constexpr char kProxyServer[] = "proxy_server";
inline constexpr char kProxyPort[] = "proxy_port";
inline constexpr char kProxyAuthEnabled[] = "proxy_auth_enabled";
inline constexpr char kProxyLogin[] = "proxy_login";
inline constexpr char kProxyPasswordEnc[] = "proxy_password_enc";
inline constexpr char kProxyType[] = "proxy_type";
inline constexpr char kProxyAuthType[] = "proxy_auth_type";
inline constexpr char kRegisterRequired[] = "register_required";
inline constexpr char kDisableUpdates[] = "disable_updates";
inline constexpr char kTokenHash[] = "token_hash";

// Data flows between agent and console; the agent's, not read or written by setup.
inline constexpr char kFlowPolicyEnabled[] = "sb_flow_policy_enabled";
inline constexpr char kFlowPolicySinceAvVersion[] = "sb_flow_policy_since_av_version";
inline constexpr char kFlowTasksEnabled[] = "sb_flow_tasks_enabled";
inline constexpr char kFlowTasksSinceAvVersion[] = "sb_flow_tasks_since_av_version";
inline constexpr char kFlowStatusEnabled[] = "sb_flow_status_enabled";
inline constexpr char kFlowLicenseEnabled[] = "sb_flow_license_enabled";
inline constexpr char kFlowInfectionsEnabled[] = "sb_flow_infections_enabled";

// The copy setup writes for the installation to take over, and the installed agent's copy,
// both in the agent's data folder.
std::wstring StagedConfigPath(const std::wstring& dataFolder);
std::wstring InstalledConfigPath(const std::wstring& dataFolder);

// Lower-case hexadecimal SHA-256 of the bytes.
std::string Sha256Hex(const std::string& bytes);

// Whether an installed copy holds another token (or token hash) than token, the hash and
// the token compared without regard to case. A copy with neither holds another.
bool HoldsOtherToken(const ini_sys::IniDocument& installed, const std::wstring& token);

// Sets the configuration's keys from the run settings; what the installation adds later
// (register_required, disable_updates) is WriteAgentConfig's.
Status BuildAgentConfig(const SetupSettings& settings, ini_sys::IniDocument& document);

// Whether the installed copy at installedPath holds another token (or token hash) than
// token. A missing installed copy means a first installation: false.
bool IsTokenChanged(const std::wstring& token, const std::wstring& installedPath);

// Writes the staged copy at stagedPath from the settings.
Status WriteAgentConfig(const SetupSettings& settings, const std::wstring& stagedPath,
                        const std::wstring& installedPath);

}  // namespace agent_config

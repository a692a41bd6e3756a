#!/usr/bin/env bash
# What the MSI is made of, read on Linux with msitools: its custom actions' types, their
# place in the sequence, the properties it hides from its log and its hidden uninstall entry.
# Usage: msi_check.sh PACKAGE.msi
set -euo pipefail
msi=$1
table() { msiinfo export "$msi" "$1" | tr -d '\r' | tail -n +4; }
fail() { echo "FAIL: $*"; exit 1; }

# Type: 1 a DLL from the Binary table, +1024 deferred, +2048 as SYSTEM, +8192 target hidden.
actions=$(table CustomAction)
for action in InstallAgent RemoveAgent; do
    grep -qP "^$action\t11265\tAgentActions\t$action\t" <<<"$actions" || fail "$action is not a hidden deferred DLL action run as SYSTEM"
done
grep -qP "^AskRestart\t\d+\tAgentActions\tAskRestart\t" <<<"$actions" || fail "no AskRestart"

sequence=$(table InstallExecuteSequence)
at() { awk -F'\t' -v a="$1" '$1 == a { print $3 }' <<<"$sequence"; }
[ "$(at RunInstallAgent)" -gt "$(at CostFinalize)" ] || fail "the installation's data before its folder is known"
[ "$(at RemoveAgent)" -gt "$(at InstallInitialize)" ] && [ "$(at RemoveAgent)" -lt "$(at RemoveFiles)" ] ||
    fail "the removal does not run before the package's files go"
[ "$(at InstallAgent)" -gt "$(at InstallFiles)" ] && [ "$(at InstallAgent)" -lt "$(at InstallFinalize)" ] ||
    fail "the installation does not run after the package's files are in place"
[ "$(at AskRestart)" -gt "$(at InstallFinalize)" ] || fail "the restart is asked for before the end"
grep -qP '^RemoveAgent\tREMOVE~="ALL" AND NOT UPGRADINGPRODUCTCODE\t' <<<"$sequence" ||
    fail "a major upgrade would remove the agent"

properties=$(table Property)
grep -qP '^MsiHiddenProperties\tTOKEN;PASSWORD;InstallAgent;RemoveAgent$' <<<"$properties" ||
    fail "the token or the password is not hidden from the log"
grep -qP '^ARPSYSTEMCOMPONENT\t1$' <<<"$properties" || fail "the MSI's own uninstall entry shows"
echo "ok: $msi"

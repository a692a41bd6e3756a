#!/usr/bin/env bash
# Shows that Wine's msi writes a property that MsiHiddenProperties names into the closing
# list of properties of a verbose log, where Windows leaves it out. A package of one empty
# component and one hidden property, installed and removed in a throwaway prefix.
# Usage: msi_hidden_repro.sh (needs wixl and wine); prints the log's lines holding the value.
set -euo pipefail
work=$(mktemp -d)
trap 'WINEPREFIX=$work/prefix wineserver -k 2>/dev/null || true; rm -rf "$work"' EXIT
cat >"$work/hidden.wxs" <<'WXS'
<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="5B0C2E44-1A3D-4C6F-9E8B-7D2A1F0C3B59" Name="Hidden property" Language="1033"
           Version="1.0.0" Manufacturer="Repro" UpgradeCode="8E3F1A20-6B4C-4D7E-A1F9-2C5B0D8E7A36">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine"/>
    <Property Id="MsiHiddenProperties" Value="SECRET"/>
    <Directory Id="TARGETDIR" Name="SourceDir"/>
    <Feature Id="None" Level="1"/>
  </Product>
</Wix>
WXS
wixl -o "$work/hidden.msi" "$work/hidden.wxs"
export WINEPREFIX=$work/prefix WINEDEBUG=-all
wine msiexec /i "$(winepath -w "$work/hidden.msi")" /qn SECRET=value-to-hide /l*v 'C:\hidden.log' >/dev/null 2>&1 || true
tr -d '\0' <"$WINEPREFIX/drive_c/hidden.log" | grep -a "value-to-hide" || echo "the value is in no line"

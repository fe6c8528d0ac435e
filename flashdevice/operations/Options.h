// Keys of the host's options for the secondary radio addresses and for changes to CCFG. An option is on only when its
// text is exactly "1".
#pragma once

namespace flash {

inline constexpr char kRetainIeeeSecondary[] = "RetainIeeeSecondaryAddr";
inline constexpr char kRetainBleSecondary[] = "RetainBleSecondaryAddr";
inline constexpr char kOverrideIeeeSecondary[] = "OverrideIeeeSecondaryAddr";
inline constexpr char kOverrideBleSecondary[] = "OverrideBleSecondaryAddr";
inline constexpr char kWriteProtectionToggle[] = "WriteProtectionToggle";
inline constexpr char kWriteProtectionText[] = "WriteProtectionText";

// Both an option and the name of the CCFG field that it changes.
inline constexpr char kDisableBootloader[] = "DisableBootloader";
inline constexpr char kDisableCpuDap[] = "DisableCpuDap";

// In place of a write operation's name: apply every change that an option asks for.
inline constexpr char kAllCcfgChanges[] = "dummy";

}  // namespace flash

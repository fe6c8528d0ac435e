// The names that the host uses: operations, and the properties that hold the chip's radio addresses.
#pragma once

#include <string>

namespace flash {

inline constexpr char kDeviceBlePrimary[] = "DeviceBlePrimary";
inline constexpr char kDeviceBleSecondary[] = "DeviceBleSecondary";
inline constexpr char kDeviceIeeePrimary[] = "DeviceIeeePrimary";
inline constexpr char kDeviceIeeeSecondary[] = "DeviceIeeeSecondary";

inline constexpr char kErase[] = "Erase";
inline constexpr char kEraseSectors[] = "EraseSectors";
inline constexpr char kReadPriBle[] = "ReadPriBle";
inline constexpr char kReadSecBle[] = "ReadSecBle";
inline constexpr char kReadPriIeee[] = "ReadPriIeee";
inline constexpr char kReadSecIeee[] = "ReadSecIeee";
inline constexpr char kWriteSecBle[] = "WriteSecBle";
inline constexpr char kWriteSecIeee[] = "WriteSecIeee";
inline constexpr char kBlankCheck[] = "BlankCheck";

// A second name of "Erase" that the list of operations does not show.
inline constexpr char kMassErase[] = "MassErase()";

// The property that an address operation reads or writes. Throws for any other operation.
const char* GetXmlPropertyNameFromCommand(const std::string& command);

}  // namespace flash

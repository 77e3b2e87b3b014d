#pragma once

namespace KQ {

// CiA 301 SDO abort codes. The dictionary's rules return them as results and the SDO server sends them on.

inline constexpr int SDO_ABORT_TOGGLE_BIT = 0x05030000;            ///< toggle bit not alternated
inline constexpr int SDO_ABORT_TIMED_OUT = 0x05040000;             ///< SDO protocol timed out
inline constexpr int SDO_ABORT_COMMAND_SPECIFIER = 0x05040001;     ///< command specifier not valid or unknown
inline constexpr int SDO_ABORT_OUT_OF_MEMORY = 0x05040005;         ///< out of memory
inline constexpr int SDO_ABORT_UNSUPPORTED_ACCESS = 0x06010000;    ///< unsupported access to an object
inline constexpr int SDO_ABORT_WRITE_ONLY = 0x06010001;            ///< attempt to read a write-only object
inline constexpr int SDO_ABORT_READ_ONLY = 0x06010002;             ///< attempt to write a read-only object
inline constexpr int SDO_ABORT_NO_OBJECT = 0x06020000;             ///< object does not exist in the object dictionary
inline constexpr int SDO_ABORT_HARDWARE = 0x06060000;              ///< access failed due to a hardware error
inline constexpr int SDO_ABORT_LENGTH_MISMATCH = 0x06070010;       ///< length of service parameter does not match
inline constexpr int SDO_ABORT_LENGTH_TOO_HIGH = 0x06070012;       ///< length of service parameter too high
inline constexpr int SDO_ABORT_NO_SUB_INDEX = 0x06090011;          ///< sub-index does not exist
inline constexpr int SDO_ABORT_VALUE_RANGE_EXCEEDED = 0x06090030;  ///< invalid value for parameter
inline constexpr int SDO_ABORT_VALUE_TOO_HIGH = 0x06090031;        ///< value of parameter written too high
inline constexpr int SDO_ABORT_GENERAL_ERROR = 0x08000000;         ///< for no other reason
inline constexpr int SDO_ABORT_NO_DICTIONARY = 0x08000023;         ///< no dictionary, or it could not be made

}  // namespace KQ

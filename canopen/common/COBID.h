#pragma once

namespace KQ {

/// The parts of a COB-ID as an object holds it (CiA 301), and the fixed identifiers.
namespace cobid {

inline constexpr unsigned int INVALID = 0x80000000U;    ///< the channel or PDO does not exist
inline constexpr unsigned int NO_RTR = 0x40000000U;     ///< PDO: no remote request on it
inline constexpr unsigned int EXTENDED = 0x20000000U;   ///< an identifier of 29 bits
inline constexpr unsigned int FLAGS = 0xE0000000U;      ///< all three
inline constexpr unsigned int IDENTIFIER = 0x1FFFFFFF;  ///< what is left without them
inline constexpr unsigned int ELEVEN_BITS = 0x7FFU;

inline constexpr unsigned int NMT = 0x000;
inline constexpr unsigned int HEARTBEAT = 0x700;  ///< + node ID

}  // namespace cobid

}  // namespace KQ

#pragma once

#include <string>

namespace KQ {

/// A number as the stack's diagnostic lines show it after a literal "0x": lower-case hexadecimal digits without leading
/// zeros. A negative one is cast by the caller and shows its 32-bit two's complement.
std::string hexadecimal(unsigned int value);

/// Prints one line and its line end on standard output, at once. Any thread. What the application has set on the stream
/// (base, case, width, fill) neither shows in the line nor is changed by it.
void printLine(const std::string& line);

/// Lets numbers that the application writes on standard output show in tens from now on. Any thread.
void countInTens();

/// As printLine(), on standard error.
void printErrorLine(const std::string& line);

}  // namespace KQ

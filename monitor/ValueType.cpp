#include "ValueType.h"

namespace monitor {

ValueType ValueType::fromCode(unsigned int code) {
  static constexpr ValueType TYPES[] = {
      {Form::PATTERN, 0},   {Form::BOOLEAN, 1},   {Form::SIGNED, 8},    {Form::SIGNED, 16}, {Form::SIGNED, 32},
      {Form::UNSIGNED, 8},  {Form::UNSIGNED, 16}, {Form::UNSIGNED, 32}, {Form::REAL, 32},   {Form::TEXT, 0},
      {Form::BYTES, 0},     {Form::WIDE_TEXT, 0}, {Form::TIME, 48},     {Form::BYTES, 0},   {Form::PATTERN, 0},
      {Form::BYTES, 0},     {Form::SIGNED, 24},   {Form::REAL, 64},     {Form::SIGNED, 40}, {Form::SIGNED, 48},
      {Form::SIGNED, 56},   {Form::SIGNED, 64},   {Form::UNSIGNED, 24}, {Form::PATTERN, 0}, {Form::UNSIGNED, 40},
      {Form::UNSIGNED, 48}, {Form::UNSIGNED, 56}, {Form::UNSIGNED, 64}};
  constexpr unsigned int CODES = sizeof TYPES / sizeof TYPES[0];
  return code < CODES ? TYPES[code] : ValueType();
}

}  // namespace monitor

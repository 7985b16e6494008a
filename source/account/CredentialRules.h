#pragma once

#include <VXOrvanta/Export.h>

#include <string_view>

namespace VX
{

/// Whether the whole text looks like an e-mail address: `[^ @\\/]+@[^ @\\/]+\.\w+` in ECMAScript's grammar, over
/// bytes. It takes time in proportion to the length, and no stack, whatever is typed.
[[nodiscard]] VXORVANTA_API bool isEmailAddress( std::string_view text );

/// The rules of a password, as bits of a mask.
enum PasswordRule
{
    PasswordLength = 1,    ///< 8 to 99 bytes
    PasswordLowercase = 2, ///< a letter a to z
    PasswordNumber = 4,    ///< a digit
    PasswordSpecial = 8    ///< one of ^$*.[]{}()?-"!@#%&/,><':;|_~`
};

/// The rules that a password breaks; 0 for a good one. A line break breaks all of them.
[[nodiscard]] VXORVANTA_API int brokenPasswordRules( std::string_view password );

} // namespace VX

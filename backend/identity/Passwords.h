#pragma once

#include <string>

namespace VX::Backend
{

/// Argon2id with a random salt (RFC 9106, libsodium's interactive limits): some tens of milliseconds and 64 MiB.
/// Empty when there is not enough memory.
[[nodiscard]] std::string hashPassword( const std::string& password );

/// Whether the password is the one of the hash; takes as long as making it, also for an empty hash, which fits none.
[[nodiscard]] bool isPasswordOf( const std::string& hash, const std::string& password );

/// What is wrong with a new password, in words for the user; empty when nothing is.
[[nodiscard]] std::string passwordProblem( const std::string& password );

/// A good password that nobody can guess.
[[nodiscard]] std::string randomPassword();

} // namespace VX::Backend

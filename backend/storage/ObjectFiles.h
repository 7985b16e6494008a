#pragma once

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// Where the embedded store has an object: files are named by hashes of the keys, so that no key can lead out of the
/// folder, and lie in sub-folders by their first two digits.
[[nodiscard]] std::filesystem::path objectFile( const std::filesystem::path& folder, const std::string& key );

} // namespace VX::Backend

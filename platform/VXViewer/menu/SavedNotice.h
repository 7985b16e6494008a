#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX
{

/// Tells the user that a file was written, in a notification, or why it was not, in a message. UI thread; nothing
/// without a menu.
void tellSaved( const tl::expected<void, std::string>& saved, const std::filesystem::path& file );

} // namespace VX

#pragma once

#include <VXViewer/dialogs/Notification.h>

#include <filesystem>
#include <string>
#include <vector>

namespace VX::App
{

/// A file that could not be opened, and why.
struct OpenFailure
{
    std::filesystem::path file;
    std::string text;
};

/// The whole sentence for the user about a failure: with the file's name, and what did not answer.
[[nodiscard]] std::string failureText( const OpenFailure& failure );

/// Whether trying again may help: the service did not answer.
[[nodiscard]] bool mayPass( const OpenFailure& failure );

/// One message for all failures of a batch of `count` files.
[[nodiscard]] std::string failuresText( const std::vector<OpenFailure>& failures, size_t count );

/// What one note at the end says about the files that were opened, with their warnings ("" for a file without);
/// `notable` when it is said even where there are none. No header: nothing to say.
[[nodiscard]] RibbonNotification openedNotice( const std::vector<std::filesystem::path>& files,
    const std::vector<std::string>& warnings, size_t count, bool notable );

} // namespace VX::App

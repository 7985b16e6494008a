#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace VX::App
{

/// What the command line asks for.
struct Arguments
{
    std::vector<std::filesystem::path> files;
    /// Draw the files into this PNG file without a window, and end.
    std::optional<std::filesystem::path> screenshot;
    /// JSON configuration that replaces members of the program's own.
    std::optional<std::filesystem::path> config;
    int width = 1280;
    int height = 800;
    /// Whether width and height were asked for.
    bool isSizeGiven = false;
    bool verbose = false;
    /// Without an account and a network.
    bool local = false;
    /// All arguments as they came, for whoever else looks at them.
    std::vector<std::string> all;
};

/// How the program ends before it starts: a text and an exit status.
struct EarlyEnd
{
    std::string text;
    int status = 0;
};

/// Reads the command line; "--help", "--version" and mistakes end the program early.
[[nodiscard]] tl::expected<Arguments, EarlyEnd> parseArguments( int argc, const char* const* argv );

} // namespace VX::App

#pragma once

#include <json/value.h>

#include <filesystem>
#include <functional>

namespace VX::App
{

/// A JSON object in a file beside the settings that several programs change. Any thread.
class KeptJson
{
public:
    /// `name` is that of the file.
    explicit KeptJson( std::string name );

    /// The object as it is now; empty when there is none that can be read.
    [[nodiscard]] Json::Value read() const;
    /// Changes it in one step, in turn with other programs; it is not written when `change` returns false. A failure
    /// to write is logged.
    void change( const std::function<bool( Json::Value& value )>& change ) const;

private:
    [[nodiscard]] std::filesystem::path file_() const;

    std::string name_;
};

} // namespace VX::App

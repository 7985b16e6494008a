#pragma once

#include <VXViewer/Export.h>

#include <json/value.h>

#include <filesystem>
#include <mutex>
#include <string>

namespace VX
{

/// The user's settings: one JSON object in `getUserConfigDir()`/"config.json".
///
/// Every change is written at once and in one step, after reading what another instance may have written meanwhile, so
/// that a killed program loses nothing and two programs never see half a file. Any thread.
class VXVIEWER_API Config
{
public:
    [[nodiscard]] static Config& instance();

    /// The stored value, or `fallback` when there is none of this type.
    [[nodiscard]] bool getBool( const std::string& key, bool fallback = false ) const;
    void setBool( const std::string& key, bool value );

    /// Null when there is none.
    [[nodiscard]] Json::Value getJsonValue( const std::string& key ) const;
    void setJsonValue( const std::string& key, const Json::Value& value );

    [[nodiscard]] bool hasKey( const std::string& key ) const;

    /// Reads the file again; what cannot be read counts as empty.
    void reload();

private:
    Config();
    void write_( const std::string& key, const Json::Value& value );

    mutable std::mutex mutex_;
    Json::Value values_{ Json::objectValue };
};

} // namespace VX

#include <VXOrvanta/account/AuthToken.h>

#include <VXMesh/io/Json.h>
#include <VXViewer/system/UserDirs.h>

#include <json/writer.h>
#include <spdlog/spdlog.h>

#include <fstream>

namespace VX
{
namespace
{

std::filesystem::path tokenFolder()
{
    return getUserConfigDir() / "Token";
}

constexpr const char* cFileName = ".token";

} // namespace

void saveAuthToken( const AuthToken& token )
{
    const auto folder = tokenFolder();
    std::error_code ec;
    if ( !std::filesystem::is_directory( folder, ec ) && !std::filesystem::create_directories( folder, ec ) )
    {
        spdlog::error( "Cannot create folder..." );
        return;
    }
    // The folder of the settings may be an older one that others can read.
    std::filesystem::permissions( folder, std::filesystem::perms::owner_all, ec );
    Json::Value root( Json::objectValue );
    root["login"] = token.login;
    root["token"] = token.token;
    root["endpoint"] = token.endpoint;
    std::ofstream out( folder / cFileName, std::ios::binary | std::ios::trunc );
    out << root;
}

AuthToken loadAuthToken()
{
    const auto root = deserializeJsonValue( tokenFolder() / cFileName );
    if ( !root || !root->isObject() || !( *root )["token"].isString() || !( *root )["endpoint"].isString() )
        return {};
    return { textMember( *root, "login" ), ( *root )["token"].asString(), ( *root )["endpoint"].asString() };
}

} // namespace VX

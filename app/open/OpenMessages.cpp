#include "open/OpenMessages.h"

#include <VXMesh/io/Path.h>
#include <VXOrvanta/converter/ConverterProtocol.h>

#include <algorithm>

namespace VX::App
{
namespace
{

/// Lines of a note; a dialog has room for all.
constexpr size_t cNoteLines = 6;

std::string nameOf( const std::filesystem::path& file )
{
    return utf8string( file.filename() );
}

std::string serviceText()
{
    const auto url = ConverterService::V2::checkConvertStatus( {} ).data().url;
    return "The conversion service at " + url.substr( 0, url.rfind( '/' ) ) +
           " did not answer. See that the network works and try again";
}

std::string sentence( const OpenFailure& failure )
{
    const auto name = nameOf( failure.file );
    const bool namesFile = failure.text.find( name ) != std::string::npos;
    return namesFile ? failure.text : "Cannot open \"" + name + "\": " + failure.text;
}

std::string filesAre( size_t some, size_t count )
{
    const auto number = std::to_string( some );
    if ( some == count )
        return number + " files are";
    return number + " of " + std::to_string( count ) + ( some == 1 ? " files is" : " files are" );
}

} // namespace

bool mayPass( const OpenFailure& failure )
{
    return failure.text == "Connection error" || failure.text.empty();
}

std::string failureText( const OpenFailure& failure )
{
    return sentence( failure ) + ( mayPass( failure ) ? "\n" + serviceText() : "" );
}

std::string failuresText( const std::vector<OpenFailure>& failures, size_t count )
{
    if ( failures.size() == 1 )
        return failureText( failures.front() );
    auto out = std::to_string( failures.size() );
    out += count == failures.size() ? "" : " of " + std::to_string( count );
    out += " files cannot be opened\n";
    for ( const auto& failure : failures )
        out += "\n" + sentence( failure );
    if ( std::any_of( failures.begin(), failures.end(), &mayPass ) )
        out += "\n\n" + serviceText();
    return out;
}

RibbonNotification openedNotice( const std::vector<std::filesystem::path>& files,
    const std::vector<std::string>& warnings, size_t count, bool notable )
{
    const auto worrying =
        size_t( std::count_if( warnings.begin(), warnings.end(), []( const auto& text ) { return !text.empty(); } ) );
    RibbonNotification out{ .type = NotificationType::Info, .lifeTimeSec = 6 };
    if ( files.empty() || ( !notable && worrying == 0 ) )
        return out;
    out.header = count == 1 ? nameOf( files.front() ) : filesAre( files.size(), count ) + " open";
    if ( worrying == 0 )
    {
        out.text = count == 1 ? "The file is open" : "";
        return out;
    }
    out.type = NotificationType::Warning;
    out.lifeTimeSec = 12;
    size_t lines = 0;
    for ( size_t i = 0; i < files.size(); ++i )
    {
        if ( warnings[i].empty() )
            continue;
        if ( ++lines > cNoteLines )
            continue;
        out.text += out.text.empty() ? "" : "\n";
        out.text += count == 1 ? warnings[i] : nameOf( files[i] ) + ": " + warnings[i];
    }
    if ( lines > cNoteLines )
        out.text += "\nand " + std::to_string( lines - cNoteLines ) + " more with warnings";
    return out;
}

} // namespace VX::App

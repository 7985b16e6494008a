#pragma once

#include <VXMesh/scene/LoadedObjects.h>
#include <VXOrvanta/converter/ImportContext.h>
#include <VXViewer/web/WebRequest.h>

#include <tl/expected.hpp>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace VX::ConverterService
{

/// From one question whether the conversion has finished to the next.
inline constexpr auto cPollInterval = std::chrono::seconds( 1 );

/// The steps that both forms of the import take, without the waiting between them.
///
/// Each reads the response to the request of the one before and returns the request that is sent next; an error is the
/// end of the import, as a text for the user. One thread at a time.
class ImportSteps
{
public:
    using Result = tl::expected<LoadedObjects, std::string>;
    using Next = tl::expected<WebRequest, std::string>;

    /// In what the forms differ.
    struct Manner
    {
        /// Hears what is done now, as a line for the user; may be empty.
        std::function<void( const char* )> stage;
        /// Whether uploads and downloads report their share of the progress.
        bool transfersReport = false;
    };

    /// Creates the working folder when it is missing.
    ImportSteps( const std::filesystem::path& path, const ProgressCallback& progress, Manner manner );

    /// The result of an import that needs no service, or nothing.
    [[nodiscard]] std::optional<Result> withoutService() const;

    [[nodiscard]] WebRequest requestContext() const;
    [[nodiscard]] Next uploadPayload( const Json::Value& contextResponse );
    [[nodiscard]] Next startConversion( const Json::Value& uploadResponse ) const;
    [[nodiscard]] tl::expected<void, std::string> conversionStarted( const Json::Value& startResponse ) const;
    [[nodiscard]] WebRequest pollStatus() const;
    /// No request while the service still works: `goOn` after `cPollInterval`, or before it, and ask again.
    [[nodiscard]] tl::expected<std::optional<WebRequest>, std::string> handleStatus(
        const Json::Value& statusResponse ) const;
    [[nodiscard]] Result loadResult( const Json::Value& downloadResponse ) const;

    /// The failure of an import that is canceled while the service works.
    [[nodiscard]] tl::expected<void, std::string> goOn() const;

private:
    void stage_( const char* text ) const;
    [[nodiscard]] ProgressCallback transferProgress_( float from, float to ) const;

    Context context_;
    Manner manner_;
};

} // namespace VX::ConverterService

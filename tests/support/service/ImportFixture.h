#pragma once

#include "support/ScratchFolder.h"

#include <VXMesh/scene/LoadedObjects.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

#include <tl/expected.hpp>

#include <atomic>
#include <deque>

namespace VX::Testing
{

/// A conversion service that answers from a list, and a STEP file with a name that no other test has.
class ImportFixture : public testing::Test
{
protected:
    using Result = tl::expected<LoadedObjects, std::string>;

    void SetUp() override;
    void TearDown() override;

    /// Imports the file in the form that blocks or in the one that does not, and waits for the end of it.
    [[nodiscard]] Result import( bool blocking, const ProgressCallback& progress = {} ) const;
    /// Queues the answer to the next request of a kind: "request", "upload", "convert", "status" or "download".
    void script( const std::string& call, Json::Value response );
    /// Answers that make a whole import succeed.
    void scriptSuccess();
    /// The kinds of the requests that were sent, in order.
    [[nodiscard]] std::vector<std::string> calls() const;
    [[nodiscard]] std::string requestId() const { return "id-" + name_; }

    [[nodiscard]] std::filesystem::path outputFile() const;
    [[nodiscard]] std::filesystem::path payloadFile() const;
    [[nodiscard]] std::filesystem::path temporaryDir() const;

    static Json::Value ok( const std::string& text );
    static Json::Value result( const std::string& json ) { return ok( R"({"result": )" + json + "}" ); }

    /// Called with the kind of each request before it is answered, on the thread that sends it.
    std::function<void( const std::string& )> onRequest_;
    std::string name_;
    std::filesystem::path file_;
    std::shared_ptr<ScriptedTransport> transport_;
    ScratchFolder folder_;

private:
    [[nodiscard]] static std::string kindOf_( const WebRequestData& request );

    mutable std::mutex mutex_;
    std::map<std::string, std::deque<Json::Value>> answers_;
};

} // namespace VX::Testing

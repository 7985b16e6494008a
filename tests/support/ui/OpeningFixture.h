#pragma once

#include "support/ui/UiFixture.h"

#include <atomic>
#include <map>

namespace VX::Testing
{

/// Opens files in the program's interface, with a conversion service that answers from a script.
class OpeningFixture : public UiFixture
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// A STEP file whose name no other test has.
    std::filesystem::path step( const std::string& stem, const std::string& folder = {},
        const std::string& extension = ".step", const std::string& content = "ISO-10303-21;" );

    /// Lets every call succeed but those that are held or refused.
    void answerEverything();
    /// The call ("request", "upload", "convert", "status" or "download") is not answered until `deliver`.
    void hold( const std::string& call ) { held_ = call; }
    /// The call is answered by a status and a text of the service.
    void refuse( const std::string& call, int status, const std::string& text );
    /// Answers the oldest call that is held as `answerEverything` would have done, and goes on answering.
    void letGo();
    [[nodiscard]] size_t calls( const std::string& call ) const;
    [[nodiscard]] std::vector<std::string> calls() const;

    /// Clicks the button of the note or message that is drawn last in a window of that name, at its lower left.
    void clickButtonOfNote();
    [[nodiscard]] size_t objectsInScene() const { return viewer().sceneRoot().children().size(); }

    std::vector<std::string> names_;
    std::vector<std::filesystem::path> opened_;

private:
    [[nodiscard]] static std::string callOf_( const WebRequestData& request );
    [[nodiscard]] Json::Value answer_( const std::string& call );

    std::atomic<size_t> next_{ 0 };
    std::string held_;
    std::map<std::string, Json::Value> refusals_;
};

} // namespace VX::Testing

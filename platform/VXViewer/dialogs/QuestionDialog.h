#pragma once

#include <VXViewer/Export.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace VX
{

/// What a person has to decide: a headline, a text below it, and the answers.
struct Question
{
    struct Answer
    {
        /// Begins with a capital letter of its own, which gives this answer together with Alt.
        std::string label;
        std::function<void()> action;
    };

    std::string title;
    std::string text;
    /// The first is the one that Enter gives, and stands at the right edge.
    std::vector<Answer> answers;
    /// What Escape does; without a function the question goes away and nothing is done.
    std::function<void()> onEscape = {};
    /// Waits until nothing else covers the scene: no other dialog, no work under a progress bar, no screen over the
    /// whole window.
    bool isPatient = false;
};

/// Questions that have to be answered, one after the other. UI thread.
class VXVIEWER_API QuestionDialog
{
public:
    /// A question with the title of one that is not answered yet takes its place.
    void push( Question question );
    /// Whether one is to be answered now; `isSceneFree` says if patient ones come up, too.
    [[nodiscard]] bool isShown( bool isSceneFree ) const;
    void draw( bool isSceneFree );

private:
    [[nodiscard]] size_t next_( bool isSceneFree ) const;

    std::deque<Question> queue_;
};

} // namespace VX

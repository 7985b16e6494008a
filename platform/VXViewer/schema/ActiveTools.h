#pragma once

#include <VXViewer/schema/RibbonMenuItem.h>

#include <memory>
#include <vector>

namespace VX
{

/// The tools at work: at most one blocking one, which wants the mouse for itself, and any number beside it. UI thread.
class VXVIEWER_API ActiveTools
{
public:
    using Item = std::shared_ptr<RibbonMenuItem>;

    /// Starts or ends a tool; a blocking one that starts ends the one that is at work before. Returns whether the tool
    /// did something.
    bool press( const Item& item );
    /// Takes in what has become of a tool that may have ended or started by itself.
    void update( const Item& item );
    /// Ends all, in the order of `topmost`.
    void endAll();

    [[nodiscard]] bool empty() const { return !blocking_ && others_.empty(); }
    /// Null while none is at work.
    [[nodiscard]] const Item& blocking() const { return blocking_; }
    /// In the order in which they were started.
    [[nodiscard]] const std::vector<Item>& others() const { return others_; }
    /// The one that Escape ends: the blocking one, else the one that was started last. Null while none is at work.
    [[nodiscard]] Item topmost() const;

private:
    Item blocking_;
    std::vector<Item> others_;
};

} // namespace VX

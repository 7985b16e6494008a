#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/ribbon/RibbonItemHost.h>

#include <boost/signals2/signal.hpp>

namespace VX
{

/// The field that finds tools by a few letters: arrows choose, Enter or a click presses the tool, Escape leaves.
/// UI thread.
class VXVIEWER_API RibbonMenuSearch
{
public:
    /// The field has gained the keyboard.
    boost::signals2::signal<void()> onFocus;
    /// A tool was pressed among the results.
    boost::signals2::signal<void( const std::shared_ptr<RibbonMenuItem>& )> onToolActivate;

    /// What stands in the empty field.
    void setHint( std::string hint ) { hint_ = std::move( hint ); }
    /// Gives the field the keyboard with the next frame.
    void activate() { focusRequested_ = true; }
    [[nodiscard]] bool isOpen() const { return open_ || focusRequested_; }

    void draw( RibbonItemHost& host, float width );

private:
    void drawField_( float width );
    void drawResults_( RibbonItemHost& host, float right, float top );
    void drawResult_( size_t index, RibbonItemHost& host );
    void handleKeys_( RibbonItemHost& host );
    void press_( const std::string& name, RibbonItemHost& host );
    void close_();

    std::string hint_ = "Search";
    std::string text_;
    std::vector<RibbonSchemaHolder::SearchResult> results_;
    size_t cursor_ = 0;
    bool open_ = false;
    bool focused_ = false;
    bool menuOpen_ = false;
    bool focusRequested_ = false;
};

} // namespace VX

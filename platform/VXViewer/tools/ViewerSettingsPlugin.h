#pragma once

#include <VXViewer/schema/RibbonMenuItem.h>

#include <array>

namespace VX
{

/// The tool "Viewer settings": a dialog with tabs, to which others add entries of their own. UI thread.
class VXVIEWER_API ViewerSettingsPlugin final : public StatePlugin
{
public:
    enum class TabType
    {
        Quick,
        Application,
        Viewport,
        Count
    };

    /// An entry that a part of the program adds, listed under a heading with others of the same heading.
    ///
    /// The order of the virtual functions is the binary interface: programs that are built already have entries with
    /// their own ones at these places. New ones go behind the last.
    class VXVIEWER_API ExternalSettings
    {
    public:
        virtual ~ExternalSettings() = default;
        [[nodiscard]] virtual const std::string& getName() const = 0;
        virtual void draw( float menuScaling ) = 0;
        /// Back to the default.
        virtual void reset() = 0;
        [[nodiscard]] virtual const char* separatorName() const = 0;
        /// What `reset` does, in a sentence for the user, who is asked before it is called.
        [[nodiscard]] virtual std::string resetEffect() const
        {
            return "\"" + getName() + "\" goes back to its default";
        }
    };

    ViewerSettingsPlugin();

    /// The tool in the schema, or null when there is none.
    [[nodiscard]] static ViewerSettingsPlugin* instance();

    using Entries = std::vector<std::shared_ptr<ExternalSettings>>;

    void addComboSettings( TabType tab, std::shared_ptr<ExternalSettings> settings );
    void delComboSettings( TabType tab, const std::shared_ptr<ExternalSettings>& settings );
    [[nodiscard]] const Entries& comboSettings( TabType tab ) const { return external_.at( size_t( tab ) ); }
    void setActiveTab( TabType tab );
    [[nodiscard]] TabType activeTab() const { return activeTab_; }

    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override;
    [[nodiscard]] bool blocking() const override { return false; }
    void drawDialog() override;

private:
    void drawTab_( TabType tab );
    void drawApplication_();
    static void drawTheme_();
    static void drawViewport_();
    static void drawQuick_();
    void drawExternal_( TabType tab );
    void reset_( TabType tab );
    /// What `reset_` does, a line each.
    [[nodiscard]] std::string resetEffects_( TabType tab ) const;
    void drawReset_( TabType tab );

    std::array<Entries, size_t( TabType::Count )> external_;
    TabType activeTab_ = TabType::Quick;
    bool selectTab_ = false;
    bool askingReset_ = false; ///< the page asks whether it is meant
    float newScale_ = 1;
};

} // namespace VX

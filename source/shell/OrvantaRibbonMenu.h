#pragma once

#include <VXOrvanta/Export.h>
#include <VXOrvanta/account/AuthWindow.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/welcome/WelcomeWindow.h>
#include <VXViewer/ribbon/RibbonMenu.h>

#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// The product's main menu: the ribbon with the welcome window and the notice of a newer release among its windows,
/// the sign-in, reports of use to `SessionLogs`, and a shortcut set of its own.
///
/// There is one for the process, owned by the viewer. UI thread.
///
/// The order of the virtual functions and of the members is the binary interface: programs that are built already find
/// each by its place. That is why public and protected functions alternate.
class VXORVANTA_API OrvantaRibbonMenu : public RibbonMenu
{
public:
    /// The viewer's menu when it is of this class, else an empty pointer.
    [[nodiscard]] static std::shared_ptr<OrvantaRibbonMenu> instance();

    OrvantaRibbonMenu();
    ~OrvantaRibbonMenu() override;

    void init( Viewer* viewer ) override;
    /// Reports the end of the program, ends the ribbon and takes the sign-in down.
    void shutdown() override;

protected:
    void setupShortcuts_() override;

public:
    /// Errors and warnings are reported, but for "Operation was canceled": a user's own cancel is no error.
    void showModalMessage( const std::string& message, NotificationType type ) override;
    /// Errors are reported.
    void pushNotification( const RibbonNotification& notification ) override;

protected:
    /// Reports which tool was started, or which requirement was not met.
    bool itemPressed_( const std::shared_ptr<RibbonMenuItem>& item, const std::string& requirements ) override;
    /// Runs what belongs to a signed-in user before the buttons under the scene list.
    void drawSceneListButtons_() override;

public:
    void emitItemPressed( const std::shared_ptr<RibbonMenuItem>& item ) override;

protected:
    /// Nothing while the user still has to sign in.
    virtual void drawWelcomeWindow_();
    /// Asks once in a run for the newest release, and tells of it when it is newer.
    virtual void drawVersionWindow_();

public:
    /// Takes the switches over, and registers the shortcuts anew when they were registered before.
    void setOrvantaMenuConfig( const OrvantaMenuUIConfig& config );
    [[nodiscard]] const OrvantaMenuUIConfig& getOrvantaMenuConfig() const { return menuConfig_; }

    [[nodiscard]] bool isAuthEnabled() const { return true; }
    /// Whether the sign-in has a request in flight; false without a sign-in window.
    [[nodiscard]] bool isAuthInProcess() const;
    /// Nothing without a sign-in window.
    void signOut();
    /// Draws nothing and returns false.
    bool drawQuickSetupWindow_() { return false; }

private:
    friend struct OrvantaMenuTestAccess;

    void drawOverScene_( bool anyPanel );
    void onFirstSignInFrame_();
    /// Tells of a build that is not for this machine, as the framework names both.
    void checkArchitecture_( const std::string& platformName, const std::string& cpuName );
    [[nodiscard]] bool isWaitingForSignIn_() const { return authWindow_ && !authWindow_->isAuthed(); }
    void requestVersion_();
    void drawVersionNotice_();
    void setupSessionLogs_();
    void telemetryDisclaimerModal_( float menuScaling );

    bool versionRequested_ = false;
    std::string latestVersion_;
    WelcomeWindow welcomeWindow_;
    OrvantaMenuUIConfig menuConfig_;
    bool firstSignedInFrameDone_ = false;
    std::vector<boost::signals2::scoped_connection> connections_;
    bool disclaimerRequested_ = false;
    int disclaimerId_ = 0;
    std::unique_ptr<AuthWindow> authWindow_;
};

} // namespace VX

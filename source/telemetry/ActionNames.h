#pragma once

/// Every action that is reported, and why somebody wants to know. No name holds what a user typed, opened or made;
/// PRIVACY.md promises that and lists them all, so think of it before adding one.
namespace VX::Actions
{

// That somebody has said no; the last one that is sent of them.
inline constexpr const char* cForbidTelemetry = "Forbid Telemetry";

// How long people work, and how often they come back.
inline constexpr const char* cSignIn = "Sign In";
inline constexpr const char* cSignOut = "Sign Out";
inline constexpr const char* cCloseApplication = "Close Application";

// Which tools are worth work, and which ones people reach for before they can be used.
inline constexpr const char* cToolActivated = "Tool Activated: {}";
inline constexpr const char* cRequirementsFaced = "Requirements Faced: {}";

// Which edits are made; the name is the one of the step in the history.
inline constexpr const char* cHistoryAdded = "History Added: {}";

// Whether people find tools by the ribbon, or have to look for them.
inline constexpr const char* cSearchFocused = "Search Focused";
inline constexpr const char* cSearchToolActivated = "Search Tool Activated";
inline constexpr const char* cSceneContextOpened = "Scene Context Opened";

// Which theme should be looked at first.
inline constexpr const char* cColorThemeChanged = "Color Theme Changed: {}";

// Which formats are written.
inline constexpr const char* cSave = "Save {}";

// How often something goes wrong in front of the user.
inline constexpr const char* cErrorModal = "Error Modal";
inline constexpr const char* cWarningModal = "Warning Modal";
inline constexpr const char* cErrorNotification = "Error Notification";

// Whether the first screen helps or is in the way.
inline constexpr const char* cWelcomeVideo = "Welcome Screen: \"Watch Video\" Clicked";
inline constexpr const char* cWelcomeCreate = "Welcome Screen: \"Create Object\" Clicked";
inline constexpr const char* cWelcomeDisabled = "Welcome Screen Disabled";

} // namespace VX::Actions

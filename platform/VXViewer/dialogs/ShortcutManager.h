#pragma once

#include <VXViewer/Export.h>

#include <tl/expected.hpp>

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VX
{

/// A key with its modifiers, numbered as GLFW does (Shift 1, Control 2, Alt 4, Super 8).
struct ShortcutKey
{
    int key = 0;
    int mod = 0;
    auto operator<=>( const ShortcutKey& ) const = default;
};

/// Which keys do what. No two commands share a key. UI thread.
class VXVIEWER_API ShortcutManager
{
public:
    enum class Category
    {
        Info,
        Edit,
        View,
        Scene,
        Objects,
        Selection
    };
    static constexpr int cCategories = 6;

    struct Command
    {
        Category category = Category::Info;
        /// As the user reads it; also what it is found by.
        std::string name;
        std::function<void()> action;
        /// Whether holding the key down does it again.
        bool repeatable = false;
        /// A second key for what another one does, too: told only where the command has no other.
        bool another = false;
    };

    struct Entry
    {
        ShortcutKey key;
        const Command* command;
    };

    using Commands = std::vector<std::pair<ShortcutKey, Command>>;

    /// A manager with a set of commands that it always has.
    explicit ShortcutManager( const Commands& basic = {} );

    /// Binds a key. On failure, when another command has this key, the text names both and nothing changes; binding
    /// the same command again replaces it.
    tl::expected<void, std::string> setShortcut( ShortcutKey key, Command command );
    /// Takes out all commands but those that the manager was made with.
    void clear();
    /// Another number after each change, and in each manager; never 0. For who keeps what was made of the keys.
    [[nodiscard]] uint64_t revision() const { return revision_; }

    /// Does what a key is bound to; false when it is bound to nothing, or not to be repeated.
    bool processShortcut( ShortcutKey key, bool repeated ) const;

    [[nodiscard]] std::optional<ShortcutKey> findShortcutByName( const std::string& name ) const;
    [[nodiscard]] size_t size() const { return commands_.size(); }
    /// Sorted by category and name; holds until the next change.
    [[nodiscard]] std::vector<Entry> getShortcutList() const;

    [[nodiscard]] static const char* categoryName( Category category );
    /// "Ctrl+Shift+Z".
    [[nodiscard]] static std::string getKeyFullString( ShortcutKey key );
    /// The key of such a text, letters in either case and modifiers in any order; nothing where it names none.
    [[nodiscard]] static std::optional<ShortcutKey> parseKey( const std::string& text );

private:
    [[nodiscard]] static uint64_t nextRevision_();

    std::map<ShortcutKey, Command> basic_;
    std::map<ShortcutKey, Command> commands_;
    uint64_t revision_ = nextRevision_();
};

} // namespace VX

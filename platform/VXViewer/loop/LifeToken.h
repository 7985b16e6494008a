#pragma once

#include <memory>

namespace VX
{

/// Tells what runs later, such as a queued command or a late answer, whether its object is still there.
///
/// A member of that object; whoever runs later keeps a `watch` and asks it first, on the thread on which the object is
/// destroyed. A copy of the object has a life of its own.
class LifeToken
{
public:
    class Watch
    {
    public:
        /// Whether the object has gone.
        [[nodiscard]] bool expired() const { return life_.expired(); }

    private:
        friend class LifeToken;
        explicit Watch( std::weak_ptr<const char> life )
            : life_( std::move( life ) )
        {
        }
        std::weak_ptr<const char> life_;
    };

    LifeToken() = default;
    ~LifeToken() = default;
    LifeToken( const LifeToken& )
        : LifeToken()
    {
    }
    LifeToken& operator=( const LifeToken& ) { return *this; } // NOLINT(bugprone-unhandled-self-assignment): empty

    [[nodiscard]] Watch watch() const { return Watch( life_ ); }

private:
    std::shared_ptr<const char> life_ = std::make_shared<const char>();
};

} // namespace VX

#pragma once

#include <functional>
#include <random>
#include <string>
#include <vector>

namespace VX::Testing
{

/// Where a random test gets its decisions from: the same ones for the same seed. What it did last is printed when the
/// process is ended by a signal.
class Monkey
{
public:
    struct Action
    {
        unsigned weight;
        const char* name;
        std::function<void()> run;
    };

    explicit Monkey( unsigned long seed );
    ~Monkey();
    Monkey( const Monkey& ) = delete;
    Monkey& operator=( const Monkey& ) = delete;

    /// Runs one of the actions, the heavier ones more often.
    void oneOf( const std::vector<Action>& actions );

    /// A number from 0 to below `bound`; 0 when the bound is 0.
    size_t below( size_t bound );
    /// From 0 to below 1.
    float fraction();
    template <typename List>
    auto from( const List& list )
    {
        return list[below( list.size() )];
    }

    /// The newest actions with the seed, for a message.
    [[nodiscard]] std::string lastActions() const;

private:
    std::mt19937_64 random_;
};

} // namespace VX::Testing

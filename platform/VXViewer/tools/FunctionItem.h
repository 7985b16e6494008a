#pragma once

#include <VXViewer/schema/RibbonSchema.h>

#include <concepts>
#include <functional>
#include <type_traits>

namespace VX
{

/// Why a tool cannot be used now, as a function of what is selected; an empty text, or no function: it can be.
///
/// The text is looked at after the call, so it has to outlive it: a function that returns a string of its own is
/// refused.
class ToolRequirement
{
public:
    ToolRequirement() = default;
    template <typename Function>
        requires std::same_as<std::invoke_result_t<Function&, const SelectedObjects&>, std::string_view>
    ToolRequirement( Function function )
        : function_( std::move( function ) )
    {
    }
    [[nodiscard]] std::string_view operator()( const SelectedObjects& selected ) const
    {
        return function_ ? function_( selected ) : std::string_view();
    }

private:
    std::function<std::string_view( const SelectedObjects& )> function_;
};

/// A tool made of functions, for those that need no state of their own.
struct FunctionItemParams
{
    std::string name;
    std::function<void()> action;
    ToolRequirement requirements;
    /// For switches: whether it is on.
    std::function<bool()> isOn;
    std::vector<ToolShortcut> shortcuts = {};
};

class VXVIEWER_API FunctionItem final : public RibbonMenuItem
{
public:
    explicit FunctionItem( FunctionItemParams params )
        : RibbonMenuItem( params.name )
        , params_( std::move( params ) )
    {
    }

    bool action() override
    {
        params_.action();
        return true;
    }
    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override { return params_.shortcuts; }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& selected ) const override
    {
        return params_.requirements( selected );
    }
    [[nodiscard]] bool isActive() const override { return params_.isOn && params_.isOn(); }
    [[nodiscard]] bool isToggle() const override { return bool( params_.isOn ); }

private:
    FunctionItemParams params_;
};

using FunctionItemRegistrar = RibbonItemRegistrar<FunctionItem>;

/// Requirements that several tools have.
namespace Requirements
{

[[nodiscard]] VXVIEWER_API std::string_view anySelected( const SelectedObjects& selected );
[[nodiscard]] VXVIEWER_API std::string_view oneSelected( const SelectedObjects& selected );
[[nodiscard]] VXVIEWER_API std::string_view anyObject( const SelectedObjects& selected );

} // namespace Requirements

} // namespace VX

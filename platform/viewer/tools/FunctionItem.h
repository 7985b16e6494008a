#pragma once

#include <VXViewer/menu/RibbonSchema.h>

#include <functional>

namespace VX
{

/// A tool made of functions, for those that need no state of their own.
struct FunctionItemParams
{
    std::string name;
    std::function<void()> action;
    /// Why it cannot be used now; empty, or no function: it can.
    std::function<std::string_view( const SelectedObjects& )> requirements;
    /// For switches: whether it is on.
    std::function<bool()> isOn;
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
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& selected ) const override
    {
        return params_.requirements ? params_.requirements( selected ) : std::string_view();
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

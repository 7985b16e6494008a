#include "worker/InstanceCount.h"

#include <NCollection_DataMap.hxx>
#include <StepBasic_ProductDefinition.hxx>
#include <StepRepr_MappedItem.hxx>
#include <StepRepr_NextAssemblyUsageOccurrence.hxx>
#include <StepRepr_Representation.hxx>
#include <StepRepr_RepresentationMap.hxx>
#include <StepRepr_RepresentationRelationshipWithTransformation.hxx>

#include <algorithm>
#include <vector>

namespace VX::Backend
{
namespace
{

using Entity = Handle( Standard_Transient );

// No assembly that is meant to be one is as deep.
constexpr int cDeepest = 10'000;

class Uses
{
public:
    Uses( const Handle( Interface_InterfaceModel ) & model, uint64_t most )
        : most_( most )
    {
        for ( int i = 1; i <= model->NbEntities(); ++i )
            note_( model->Value( i ) );
    }

    uint64_t largest()
    {
        uint64_t out = 0;
        for ( decltype( below_ )::Iterator node( below_ ); node.More() && out <= most_; node.Next() )
            out = std::max( out, countOf_( node.Key(), 0 ) );
        return out;
    }

private:
    void note_( const Entity& entity )
    {
        if ( const auto use = Handle( StepRepr_NextAssemblyUsageOccurrence )::DownCast( entity ); !use.IsNull() )
            add_( use->RelatingProductDefinition(), use->RelatedProductDefinition() );
        else if ( const auto placed =
                      Handle( StepRepr_RepresentationRelationshipWithTransformation )::DownCast( entity );
            !placed.IsNull() )
            add_( placed->Rep2(), placed->Rep1() );
        else if ( const auto shape = Handle( StepRepr_Representation )::DownCast( entity );
            !shape.IsNull() && !shape->Items().IsNull() )
            noteItems_( shape );
    }
    void noteItems_( const Handle( StepRepr_Representation ) & shape )
    {
        for ( int i = 1; i <= shape->NbItems(); ++i )
        {
            const auto mapped = Handle( StepRepr_MappedItem )::DownCast( shape->ItemsValue( i ) );
            if ( !mapped.IsNull() && !mapped->MappingSource().IsNull() )
                add_( shape, mapped->MappingSource()->MappedRepresentation() );
        }
    }
    void add_( const Entity& whole, const Entity& part )
    {
        if ( whole.IsNull() || part.IsNull() )
            return;
        auto* parts = below_.ChangeSeek( whole );
        if ( !parts )
            parts = below_.Bound( whole, {} );
        parts->push_back( part );
    }
    /// Something that uses itself adds nothing.
    uint64_t countOf_( const Entity& whole, int depth )
    {
        if ( const uint64_t* known = known_.Seek( whole ) )
            return *known;
        const auto* parts = below_.Seek( whole );
        if ( !parts )
            return 1;
        if ( depth > cDeepest )
            return most_ + 1;
        known_.Bind( whole, 0 );
        uint64_t sum = 1;
        for ( const auto& part : *parts )
            sum = std::min( sum + countOf_( part, depth + 1 ), most_ + 1 );
        known_.Bind( whole, sum );
        return sum;
    }

    uint64_t most_;
    NCollection_DataMap<Entity, std::vector<Entity>> below_;
    NCollection_DataMap<Entity, uint64_t> known_;
};

} // namespace

uint64_t countInstances( const Handle( Interface_InterfaceModel ) & model, uint64_t most )
{
    return Uses( model, most ).largest();
}

} // namespace VX::Backend

#include "database/engine/SqlSession.h"

namespace VX::Backend
{

DatabaseResult<std::vector<SqlRow>> SqlSession::run( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    if ( failure_ )
        return tl::unexpected( *failure_ );
    auto rows = run_( sql, parameters );
    if ( !rows && inTransaction_ )
        failure_ = rows.error();
    return rows;
}

void SqlSession::begin()
{
    inTransaction_ = true;
    if ( const auto begun = begin_(); !begun )
        failure_ = begun.error();
}

DatabaseResult<void> SqlSession::commit()
{
    if ( failure_ )
        return tl::unexpected( *failure_ );
    auto kept = commit_();
    if ( !kept )
        failure_ = kept.error();
    return kept;
}

void SqlSession::end()
{
    end_();
    inTransaction_ = false;
    failure_.reset();
}

} // namespace VX::Backend

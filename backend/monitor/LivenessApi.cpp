#include "monitor/LivenessApi.h"

namespace VX::Backend
{

BodyPlan LivenessApi::planBody( const HttpRequest& head )
{
    return planReading( head );
}

void LivenessApi::handle( HttpRequest /*request*/, Respond respond )
{
    HttpResponse out;
    out.body = R"({"status":"ok"})";
    respond( std::move( out ) );
}

} // namespace VX::Backend

#pragma once

#include <boost/signals2/signal.hpp>

namespace VX
{

/// What an object tells everybody who has connected a slot; "void()" is a bare event.
template <typename Signature>
using Signal = boost::signals2::signal<Signature>;

} // namespace VX

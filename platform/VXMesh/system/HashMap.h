#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

namespace VX
{

/// The hash containers of the libraries' interfaces. Adding an element may move the others.
template <typename Key, typename Value>
using HashMap = boost::unordered_flat_map<Key, Value>;

template <typename Key>
using HashSet = boost::unordered_flat_set<Key>;

} // namespace VX

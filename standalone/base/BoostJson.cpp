// Boost.JSON itself, compiled here once for whoever includes its headers: its library is not linked, so that
// every width has it.
#include <boost/json/src.hpp>

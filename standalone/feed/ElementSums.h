// How much of elements there is.
#ifndef PIS_FEED_ELEMENTSUMS_H
#define PIS_FEED_ELEMENTSUMS_H

#include <cstddef>
#include <cstdint>

namespace pis::feed {

/// A number of elements, and the bytes of their fields' texts: FieldTexts::textBytes() of each element's own record
/// and of its state's, those that came last.
struct ElementSums {
    std::size_t elements = 0;
    std::uint64_t bytes = 0;
};

}  // namespace pis::feed

#endif

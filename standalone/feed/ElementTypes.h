// The element types of a feed for whoever looks at records from outside the store: names, tables and
// what each field holds.
#ifndef PIS_FEED_ELEMENTTYPES_H
#define PIS_FEED_ELEMENTTYPES_H

#include <vector>

#include "SignallingCodes.h"

namespace pis::feed {

/// One field of an element.
struct FieldType {
    enum Kind {
        TEXT,
        INTEGER,
        FLAG,       ///< Yes for a text that begins with Y.
        NUMBER_OF,  ///< Id of an element of type `refersTo`.
        LIST_OF,    ///< Ids of such elements, separated by "!".
        NOT_USED
    };

    const char* name;
    Kind kind = TEXT;
    SignallingCodes::Element refersTo = SignallingCodes::ALL_ELEMENTS;
    bool zeroMeansNone = false;
};

/// One element type.
struct ElementType {
    SignallingCodes::Element code;
    const char* name;
    /// The type whose table its records go into: a service state goes into the services. Those that
    /// go into none name themselves.
    SignallingCodes::Element table;
    std::vector<FieldType> fields;

    /// True for a type with a table of its own, which is a type that can be deleted.
    bool hasTable() const { return table == code && !isStatus(); }

    /// True for a type of which there is one record, number 1, and not one for each element.
    bool isStatus() const { return table > SignallingCodes::SERVICE_STOP; }

    /// True for trip stops and service stops: the store tells nobody of these.
    bool isStop() const { return code == SignallingCodes::TRIP_STOP || code == SignallingCodes::SERVICE_STOP; }
};

/// Every type that the store takes, in the order of their codes.
const std::vector<ElementType>& elementTypes();

/// The type with this code, or null.
const ElementType* findElementType(int code);

}  // namespace pis::feed

#endif

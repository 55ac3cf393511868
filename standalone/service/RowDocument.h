// A JSON document that is made of a picture's rows, bit by bit, as its reader takes it: the picture never changes, so
// nobody needs the whole text at once.
#ifndef PIS_SERVICE_ROWDOCUMENT_H
#define PIS_SERVICE_ROWDOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "picture/Picture.h"
#include "picture/StationRows.h"

namespace pis::service {

/// Rows of some tables, each table with a text before its rows. Immutable.
class RowDocument {
public:
    struct Section {
        std::string before;
        records::Table table;
    };

    /// How far a reader has come: to begin with at the beginning.
    struct Place {
        std::size_t section = 0;
        std::size_t rows = 0;                                 ///< Of the section, that are behind.
        std::int64_t from = std::numeric_limits<int>::min();  ///< Follows from the other two.
    };

    /// @param name tells this document from others: the same texts under the same name.
    /// @param rows those that are taken; nothing for all of them.
    RowDocument(std::string name, std::shared_ptr<const picture::Picture> picture, std::vector<Section> sections,
                std::string end, std::optional<picture::RowIds> rows = std::nullopt);

    const std::string& name() const { return _name; }

    /// The revision of the picture that it is made of.
    picture::Revision revision() const { return _picture->revision; }

    /// Changes that the picture had seen, as Picture::changes.
    std::uint64_t changes() const { return _picture->changes; }

    /// Appends what follows a place until the text has so many bytes, a row at the least.
    /// @return the place behind it; nothing where the document ends.
    std::optional<Place> append(std::string& text, Place place, std::size_t bytes) const;

    /// Bytes of the whole document.
    std::size_t size() const;

private:
    std::size_t rowsOf(records::Table table) const;
    template <typename Visit>
    void forEachRowFrom(records::Table table, std::int64_t from, Visit visit) const;

    std::string _name;
    std::shared_ptr<const picture::Picture> _picture;
    std::vector<Section> _sections;
    std::string _end;
    std::optional<picture::RowIds> _rows;
};

}  // namespace pis::service

#endif

// Makes the texts of documents for their readers, plain, in chunks or compressed, a piece at a time; a piece is made
// once for all who come to the same place.
#ifndef PIS_SERVICE_DOCUMENTTEXTS_H
#define PIS_SERVICE_DOCUMENTTEXTS_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/RecentlyUsed.h"
#include "service/RowDocument.h"
#include "service/TextAccount.h"

namespace pis::service {

/// [Threading] For one thread.
class DocumentTexts {
public:
    /// Bytes of a piece before it is compressed, about: it ends with the row that reaches them.
    static constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

    explicit DocumentTexts(TextAccount& account, std::size_t pieceBytes = kPieceBytes)
        : _account(account), _pieceBytes(pieceBytes), _parts(roomIn(account)) {}

    std::size_t pieceBytes() const { return _pieceBytes; }

    /// Room for pieces that are kept, of an account that is mostly for those under way.
    static std::size_t roomIn(const TextAccount& account) {
        constexpr std::uint64_t kEnough = std::uint64_t{32} << 20;
        constexpr std::uint64_t kShare = 8;
        return static_cast<std::size_t>(std::min(kEnough, account.most() / kShare));
    }

    enum Form {
        PLAIN,
        CHUNKS,     ///< Each piece a chunk of HTTP/1.1.
        COMPRESSED  ///< The same, and all together one text of gzip.
    };

    /// Who reads a document, and how far that has come.
    class Reader {
    public:
        Reader(std::shared_ptr<const RowDocument> document, Form form) : _document(std::move(document)), _form(form) {}

        const RowDocument& document() const { return *_document; }

        bool isCompressed() const { return _form == COMPRESSED; }

        /// Whether it has been handed out whole.
        bool isAtEnd() const { return !_place; }

    private:
        friend class DocumentTexts;

        std::shared_ptr<const RowDocument> _document;
        Form _form;
        std::optional<RowDocument::Place> _place = RowDocument::Place();
        // Of what is behind, uncompressed, as the end of a compressed text tells them.
        unsigned long _checksum = 0;
        std::size_t _size = 0;
    };

    /// The next piece; null where no text may be made now. Not to be called at the end.
    SharedText next(Reader& reader);

private:
    struct Part {
        SharedText text;
        std::optional<RowDocument::Place> leadsTo;
        unsigned long checksum = 0;
        std::size_t size = 0;
    };

    Part make(const Reader& reader) const;

    TextAccount& _account;
    const std::size_t _pieceBytes;
    base::RecentlyUsed<Part> _parts;
};

}  // namespace pis::service

#endif

#include "service/DocumentTexts.h"

#include <fmt/format.h>
#include <zlib.h>

#include "service/Chunks.h"
#include "service/Gzip.h"

namespace pis::service {

SharedText DocumentTexts::next(Reader& reader) {
    const std::string name =
        fmt::format("{}{}.{}.{}", reader._document->name(), reader._place->section, reader._place->rows, reader._form);
    Part part;
    if (const Part* made = _parts.find(name)) {
        part = *made;
    } else {
        if (!_account.hasRoom()) return nullptr;
        part = make(reader);
        _parts.put(name, part, part.text->size());
    }
    reader._place = part.leadsTo;
    if (reader._form != COMPRESSED) return part.text;
    reader._checksum = crc32_combine(reader._checksum, part.checksum, static_cast<z_off_t>(part.size));
    reader._size += part.size;
    if (!reader.isAtEnd()) return part.text;
    return _account.keep(*part.text + chunkOf(gzipEnd(reader._checksum, reader._size)));
}

DocumentTexts::Part DocumentTexts::make(const Reader& reader) const {
    Part part;
    std::string text;
    part.leadsTo = reader._document->append(text, *reader._place, _pieceBytes);
    if (reader._form != COMPRESSED) {
        part.text = _account.keep(reader._form == CHUNKS ? chunkOf(text) : std::move(text));
        return part;
    }
    part.size = text.size();
    part.checksum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size()));
    const bool isFirst = reader._place->section == 0 && reader._place->rows == 0;
    part.text = _account.keep(chunkOf((isFirst ? gzipBegin() : std::string()) + deflated(text)));
    return part;
}

}  // namespace pis::service

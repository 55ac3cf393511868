// Files for tests: a folder that goes away with its test, and compressed contents.
#ifndef TESTS_STANDALONE_FEEDFILES_H
#define TESTS_STANDALONE_FEEDFILES_H

#include <stdlib.h>  // mkdtemp
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

/// A new, empty folder. It and all that stands in it are removed at the end.
class TempFolder {
public:
    TempFolder() : _path((std::filesystem::temp_directory_path() / "pis-test-XXXXXX").string()) {
        if (mkdtemp(&_path[0]) == nullptr) throw std::runtime_error("no temporary folder");
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return _path; }
    std::string path(const std::string& name) const { return _path + "/" + name; }

    /// Writes a file, whatever bytes it is to hold, and returns its path.
    std::string write(const std::string& name, const std::string& contents) const {
        std::ofstream file(path(name), std::ios::binary);
        file << contents;
        if (!file.flush()) throw std::runtime_error("cannot write " + path(name));
        return path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        std::ostringstream contents;
        contents << file.rdbuf();
        return contents.str();
    }

private:
    std::string _path;
};

/// The contents as one member of a gzip file.
inline std::string gzipped(std::string contents) {
    z_stream stream{};
    constexpr int kGzip = 16;
    if (deflateInit2(&stream, 9, Z_DEFLATED, 15 + kGzip, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2");
    }
    std::string packed(deflateBound(&stream, static_cast<uLong>(contents.size())) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(&contents[0]);
    stream.avail_in = static_cast<uInt>(contents.size());
    stream.next_out = reinterpret_cast<Bytef*>(&packed[0]);
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("deflate");
    return packed;
}

#endif

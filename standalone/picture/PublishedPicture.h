// Where the feeding thread leaves each new picture and everybody else finds the latest one.
#ifndef PIS_PICTURE_PUBLISHEDPICTURE_H
#define PIS_PICTURE_PUBLISHEDPICTURE_H

#include <functional>
#include <memory>

#include "picture/Picture.h"

namespace pis::picture {

/// One atomic pointer and somebody to tell. [Threading] publish() belongs to the feeding thread,
/// current() to any.
class PublishedPicture {
public:
    /// Never null: an empty picture stands before the first.
    std::shared_ptr<const Picture> current() const { return std::atomic_load(&_picture); }

    void publish(std::shared_ptr<const Picture> picture) {
        std::atomic_store(&_picture, std::move(picture));
        if (_listener) _listener();
    }

    /// Called after each publication on the feeding thread; set before that one runs.
    void setListener(std::function<void()> listener) { _listener = std::move(listener); }

private:
    std::shared_ptr<const Picture> _picture = std::make_shared<Picture>();
    std::function<void()> _listener;
};

}  // namespace pis::picture

#endif

// A recorded feed as the signalling side: read from a file or from standard input, then ended.
#ifndef PIS_SIGNALLING_FILELINK_H
#define PIS_SIGNALLING_FILELINK_H

#include <string>

#include "base/StopSignal.h"
#include "signalling/SignallingLink.h"

namespace pis::signalling {

class FileLink : public SignallingLink {
public:
    /// @param path  a file, compressed with gzip or not, or "-" for standard input.
    /// @param speed times the recorded pace; 0 for as fast as possible.
    FileLink(std::string path, double speed);

    /// UP when the file is open, ENDED at its end, DOWN with the reason where it cannot be read. A file that is not
    /// there is waited for, DOWN meanwhile.
    void run(Inbox& inbox) override;

    /// Always false: nobody listens behind a file.
    bool send(const platform::SendOperation& operation) override;
    void stop() override { _stop.give(); }
    std::string name() const override { return "file:" + _path; }

private:
    LinkChange readAll(Inbox& inbox);
    void awaitFile(Inbox& inbox);

    std::string _path;
    double _speed;
    base::StopSignal _stop;
};

}  // namespace pis::signalling

#endif

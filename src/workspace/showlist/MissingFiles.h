#pragma once

#include <QObject>
#include <QThreadPool>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace ostinel {

// Which of the show's files are missing, looked up off the main thread so
// that a slow or hung network mount never stalls the list. A path not yet
// looked up counts as present.
class MissingFiles : public QObject {
    Q_OBJECT
public:
    explicit MissingFiles(QObject* parent = nullptr);
    ~MissingFiles() override;

    // Looks the paths up again, unless they are the ones last asked for.
    void check(std::vector<std::string> paths);
    // Looks up the last paths again even if unchanged (files come and go).
    void recheck();
    bool isMissing(const std::string& path) const { return missing_.count(path) > 0; }
    // Blocks until the lookups asked for so far are in.
    void finishPending();

signals:
    void changed();

private:
    void start();

    QThreadPool pool_;
    std::vector<std::string> paths_;
    std::set<std::string> missing_;
    std::uint64_t generation_ = 0;
};

} // namespace ostinel

#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <vector>

#include "base/Uuid.h"

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace ostinel {

// One mapped cue: its name and the label of its key.
struct MappingEntry {
    Uuid id;
    QString name;
    QString key;
};

// The cues that have a key, each with a way to clear it. The owner calls
// refresh() when the mappings or the show change.
class MappingList : public QWidget {
    Q_OBJECT
public:
    struct Row {
        Uuid id;
        QLabel* name;
        QLabel* key;
        QPushButton* clear;
    };

    MappingList(std::function<std::vector<MappingEntry>()> entries, std::function<void(const Uuid&)> clear,
                const QString& emptyText, QWidget* parent = nullptr);

    void refresh();

    const std::vector<Row>& rows() const { return rows_; }
    QLabel* emptyLabel() const { return empty_; }

private:
    std::function<std::vector<MappingEntry>()> entries_;
    std::function<void(const Uuid&)> clear_;
    QVBoxLayout* layout_ = nullptr;
    QLabel* empty_ = nullptr;
    QWidget* body_ = nullptr;
    std::vector<Row> rows_;
};

// Fixed widths, so that the keys and buttons of the transport actions and
// of the cue lists below them line up in columns.
namespace mappingColumns {
inline constexpr int key = 90;
inline constexpr int learn = 112;
inline constexpr int clear = 80;
inline constexpr int gap = 10;
} // namespace mappingColumns

// The key of a mapping as a small fixed-width tag, dimmed when there is none.
QLabel* keyTag();
QPushButton* clearButton();
void showKey(QLabel* tag, const QString& key, const QString& none);

} // namespace ostinel

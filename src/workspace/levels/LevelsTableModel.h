#pragma once

#include <QAbstractTableModel>

#include <map>

#include "base/Uuid.h"
#include "document/LoudnessMeasurement.h"

namespace ostinel {

class AppState;

// One row per cue of the show, with its measured loudness and what matching
// to the target would do to it. Follows the show as it changes.
class LevelsTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { cue, loudness, truePeak, change, newPeak, note, columnCount_ };

    explicit LevelsTableModel(AppState& state, QObject* parent = nullptr);

    void setTarget(double lufs);
    double target() const { return target_; }
    // New values win; tracks not in `m` keep theirs.
    void merge(const std::map<Uuid, LoudnessMeasurement>& m);
    void setMeasuring(bool on);
    const std::map<Uuid, LoudnessMeasurement>& measurements() const { return measurements_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // "%.1f", with "-∞" for minus infinity.
    static QString decibels(double value, bool sign = false);

private:
    void refresh();

    AppState& state_;
    std::map<Uuid, LoudnessMeasurement> measurements_;
    double target_ = -16.0;
    bool measuring_ = false;
    int rows_ = 0;
};

} // namespace ostinel

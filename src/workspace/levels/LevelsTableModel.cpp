#include "workspace/levels/LevelsTableModel.h"

#include <QColor>

#include <cmath>

#include "document/AppState.h"
#include "document/LevelMatch.h"

namespace ostinel {

LevelsTableModel::LevelsTableModel(AppState& state, QObject* parent)
    : QAbstractTableModel(parent), state_(state), rows_(int(state.show().tracks.size())) {
    connect(&state_, &AppState::showChanged, this, &LevelsTableModel::refresh);
}

void LevelsTableModel::refresh() {
    const int rows = int(state_.show().tracks.size());
    if (rows != rows_) {
        beginResetModel();
        rows_ = rows;
        endResetModel();
    } else if (rows > 0) {
        emit dataChanged(index(0, 0), index(rows - 1, columnCount_ - 1));
    }
}

void LevelsTableModel::setTarget(double lufs) {
    if (lufs == target_) return;
    target_ = lufs;
    refresh();
}

void LevelsTableModel::merge(const std::map<Uuid, LoudnessMeasurement>& m) {
    for (const auto& [id, value] : m) measurements_[id] = value;
    refresh();
}

void LevelsTableModel::setMeasuring(bool on) {
    if (on == measuring_) return;
    measuring_ = on;
    refresh();
}

int LevelsTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }
int LevelsTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : columnCount_; }

QString LevelsTableModel::decibels(double value, bool sign) {
    if (std::isinf(value)) return value < 0 ? QStringLiteral("-∞") : QStringLiteral("∞");
    return QString::asprintf(sign ? "%+.1f" : "%.1f", value);
}

QVariant LevelsTableModel::data(const QModelIndex& index, int role) const {
    const auto& tracks = state_.show().tracks;
    if (!index.isValid() || index.row() >= int(tracks.size())) return {};
    const Track& t = tracks[std::size_t(index.row())];
    const auto found = measurements_.find(t.id);
    const LoudnessMeasurement* m = found == measurements_.end() ? nullptr : &found->second;

    if (role == Qt::TextAlignmentRole && index.column() != cue && index.column() != note)
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::ForegroundRole && index.column() == note) return QColor(0xe0, 0xa0, 0x40);
    if (role != Qt::DisplayRole) return {};

    if (index.column() == cue) return QString::number(index.row() + 1) + "  " + QString::fromStdString(t.name);
    if (!m) {
        if (index.column() != loudness) return {};
        if (!t.url.exists()) return QStringLiteral("missing");
        return measuring_ ? QStringLiteral("…") : QStringLiteral("—");
    }
    const auto c = LevelMatch::change(*m, target_);
    switch (index.column()) {
    case loudness: return decibels(m->lufs);
    case truePeak: return decibels(m->truePeakDb);
    case change: return decibels(c.gainDb, true);
    case newPeak: return decibels(m->truePeakDb + c.gainDb);
    case note: {
        auto text = LevelMatch::note(c);
        return text ? QString::fromStdString(*text) : QString();
    }
    default: return {};
    }
}

QVariant LevelsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
    case cue: return QStringLiteral("Cue");
    case loudness: return QStringLiteral("Loudness");
    case truePeak: return QStringLiteral("True Peak");
    case change: return QStringLiteral("Change");
    case newPeak: return QStringLiteral("New Peak");
    default: return QString();
    }
}

} // namespace ostinel

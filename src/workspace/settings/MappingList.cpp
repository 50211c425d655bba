#include "workspace/settings/MappingList.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "workspace/common/Theme.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

QLabel* keyTag() {
    auto* tag = new QLabel;
    tag->setFixedWidth(mappingColumns::key);
    QFont font = tag->font();
    font.setBold(true);
    tag->setFont(font);
    return tag;
}

QPushButton* clearButton() {
    auto* button = new QPushButton("Clear");
    button->setFixedWidth(mappingColumns::clear);
    return button;
}

void showKey(QLabel* tag, const QString& key, const QString& none) {
    const bool mapped = !key.isEmpty();
    tag->setText(mapped ? key : none);
    QFont font = tag->font();
    font.setBold(mapped);
    tag->setFont(font);
    QPalette palette = tag->palette();
    palette.setColor(QPalette::WindowText, mapped ? theme::midiTrigger : theme::textDim);
    tag->setPalette(palette);
}

MappingList::MappingList(std::function<std::vector<MappingEntry>()> entries,
                         std::function<void(const Uuid&)> clear, const QString& emptyText, QWidget* parent)
    : QWidget(parent), entries_(std::move(entries)), clear_(std::move(clear)) {
    layout_ = new QVBoxLayout(this);
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
    empty_ = explanationLabel(emptyText);
    layout_->addWidget(empty_);
    refresh();
}

// The rows are made afresh; the old ones go later, since the click that
// cleared a mapping comes from one of them.
void MappingList::refresh() {
    if (body_) {
        body_->hide();
        body_->deleteLater();
    }
    rows_.clear();
    body_ = new QWidget;
    auto* column = new QVBoxLayout(body_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    for (const MappingEntry& entry : entries_()) {
        auto* line = new QHBoxLayout;
        line->setSpacing(mappingColumns::gap);
        auto* name = new QLabel(entry.name);
        name->setMinimumWidth(120);
        name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        QLabel* key = keyTag();
        showKey(key, entry.key, {});
        QPushButton* clear = clearButton();
        const Uuid id = entry.id;
        connect(clear, &QPushButton::clicked, this, [this, id] { clear_(id); });
        line->addWidget(name, 1);
        line->addWidget(key);
        // Under the transport's Learn buttons: a cue learns from the show list.
        line->addSpacing(mappingColumns::learn + mappingColumns::gap);
        line->addWidget(clear);
        column->addLayout(line);
        rows_.push_back({id, name, key, clear});
    }
    layout_->addWidget(body_);
    empty_->setHidden(!rows_.empty());
}

} // namespace ostinel

#include "workspace/settings/RemoteAddressList.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "workspace/common/Theme.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {
namespace {

QString linkText(const RemoteAddress& address) {
    const QString name = QString::fromStdString(address.name);
    const QString interface = QString::fromStdString(address.interface);
    return name == interface ? name : QStringLiteral("%1 (%2)").arg(name, interface);
}

const char* note(RemoteAddress::Kind kind) {
    switch (kind) {
    case RemoteAddress::selfAssigned:
        return RemoteAddressList::selfAssignedNote;
    case RemoteAddress::sharing:
        return RemoteAddressList::sharingNote;
    default:
        return nullptr;
    }
}

} // namespace

RemoteAddressList::RemoteAddressList(QWidget* parent) : QWidget(parent) {
    rows_ = new QVBoxLayout(this);
    rows_->setContentsMargins(0, 0, 0, 0);
    rows_->setSpacing(6);
}

void RemoteAddressList::setAddresses(const std::vector<RemoteAddress>& addresses) {
    if (built_ && addresses == shown_) return;
    built_ = true;
    shown_ = addresses;
    while (QLayoutItem* item = rows_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (addresses.empty()) rows_->addWidget(explanationLabel(QString::fromUtf8(noAddress)));
    for (const RemoteAddress& address : addresses)
        rows_->addWidget(row(address));
}

QWidget* RemoteAddressList::row(const RemoteAddress& address) const {
    auto* host = new QLabel(QString::fromStdString(address.host));
    host->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont font = host->font();
    font.setBold(true);
    host->setFont(font);
    host->setMinimumWidth(host->fontMetrics().horizontalAdvance(QStringLiteral("000.000.000.000")));
    auto* link = explanationLabel(linkText(address));
    link->setWordWrap(false);

    auto* line = new QHBoxLayout;
    line->setSpacing(12);
    line->addWidget(host);
    line->addWidget(link, 1);

    auto* rowWidget = new QWidget;
    auto* column = new QVBoxLayout(rowWidget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addLayout(line);
    if (const char* text = note(address.kind)) column->addWidget(explanationLabel(QString::fromUtf8(text)));
    return rowWidget;
}

} // namespace ostinel

#include "workspace/settings/RemoteSettingsTab.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "control/RemoteQrCode.h"
#include "platform/MainLoop.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/PortField.h"
#include "workspace/settings/RemoteAddressList.h"
#include "workspace/settings/RemoteSettingsModel.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {
namespace {

QWidget* stacked(std::initializer_list<QWidget*> widgets) {
    auto* box = new QWidget;
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    for (QWidget* widget : widgets)
        column->addWidget(widget);
    return box;
}

void tint(QLabel* label, const QColor& color) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
}

} // namespace

RemoteSettingsTab::RemoteSettingsTab(Workspace& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace), model_(workspace.remote) {
    if (!model_) {
        auto* column = new QVBoxLayout(this);
        column->setContentsMargins(24, 20, 24, 20);
        column->addWidget(explanationLabel("The remote is not available."));
        column->addStretch(1);
        return;
    }
    build();
    reflect();
    refresh();
    timer_ = workspace_.loop.every(refreshSeconds, [this] { refresh(); });
}

RemoteSettingsTab::~RemoteSettingsTab() {
    if (timer_) workspace_.loop.cancel(timer_);
}

QString RemoteSettingsTab::clientText(int count) {
    if (count <= 0) return QStringLiteral("No phones connected");
    if (count == 1) return QStringLiteral("1 phone connected");
    return QStringLiteral("%1 phones connected").arg(count);
}

void RemoteSettingsTab::build() {
    enabled_ = settingsCheckBox("Allow remote control from a browser or the iOS app");
    port_ = new PortField;
    status_ = explanationLabel({});
    QFont italic = status_->font();
    italic.setItalic(true);
    status_->setFont(italic);
    direct_ = settingsCheckBox("Direct connection (no network needed)");

    pin_ = new QLabel;
    pin_->setFont(theme::clockFont(18));
    pin_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    newPin_ = new QPushButton("New PIN");
    auto* pinRow = new QWidget;
    auto* pinLine = new QHBoxLayout(pinRow);
    pinLine->setContentsMargins(0, 0, 0, 0);
    pinLine->setSpacing(16);
    pinLine->addWidget(pin_);
    pinLine->addWidget(newPin_);
    pinLine->addStretch(1);

    qr_ = new QLabel;
    url_ = new QLabel;
    url_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont bold = url_->font();
    bold.setBold(true);
    url_->setFont(bold);
    auto* caption = new QVBoxLayout;
    caption->setSpacing(4);
    caption->addWidget(url_);
    caption->addWidget(explanationLabel("Scan it with the phone's camera: the remote opens signed in. "
                                        "Typed by hand, the address asks for the PIN."));
    caption->addStretch(1);
    signIn_ = new QWidget;
    auto* signInLine = new QHBoxLayout(signIn_);
    signInLine->setContentsMargins(0, 0, 0, 0);
    signInLine->setSpacing(16);
    signInLine->addWidget(qr_, 0, Qt::AlignTop);
    signInLine->addLayout(caption, 1);

    clients_ = new QLabel;
    addresses_ = new RemoteAddressList;

    QFormLayout* form = form_ = settingsForm(scrollingPage(this));
    form->addRow("Remote:", settingsField(enabled_, "A phone or tablet runs the show from its web browser."));
    form->addRow("Port:", stacked({port_, status_}));
    form->addRow("Direct:",
                 settingsField(direct_, "Also reachable over a cable, with no router in between."));
    form->addRow("PIN:", settingsField(pinRow, "A new PIN signs out every device that used the old one."));
    form->addRow("Sign in:", signIn_);
    form->addRow("Devices:", clients_);
    form->addRow("Addresses:", addresses_);

    connect(enabled_, &QCheckBox::toggled, this,
            [this](bool on) { edit([on](RemoteSettings& s) { s.enabled = on; }); });
    connect(direct_, &QCheckBox::toggled, this,
            [this](bool on) { edit([on](RemoteSettings& s) { s.directConnection = on; }); });
    connect(port_, &PortField::portChosen, this,
            [this](int port) { edit([port](RemoteSettings& s) { s.port = port; }); });
    connect(newPin_, &QPushButton::clicked, this, [this] {
        model_->regeneratePIN();
        refresh();
    });
}

// Unchanged values are not written: a port confirmed as it was must not
// restart the listener and drop every phone.
void RemoteSettingsTab::edit(const std::function<void(RemoteSettings&)>& change) {
    const RemoteSettings before = model_->remoteSettings();
    RemoteSettings after = before;
    change(after);
    if (after != before) model_->setRemoteSettings(after);
    reflect();
    refresh();
}

void RemoteSettingsTab::reflect() {
    const RemoteSettings s = model_->remoteSettings();
    const QSignalBlocker a(enabled_), b(direct_);
    enabled_->setChecked(s.enabled);
    direct_->setChecked(s.directConnection);
    port_->setPort(s.port);
}

void RemoteSettingsTab::refresh() {
    const RemoteSettings s = model_->remoteSettings();
    pin_->setText(QString::fromStdString(model_->pin()));

    const std::string problem = model_->problem();
    if (!problem.empty()) {
        status_->setText(QString::fromStdString(problem));
        tint(status_, theme::warning);
    } else {
        status_->setText(model_->isListening() ? QStringLiteral("Listening on port %1.").arg(s.port)
                                               : QString());
        tint(status_, theme::textDim);
    }
    status_->setHidden(status_->text().isEmpty());

    const auto addresses = model_->addresses();
    addresses_->setAddresses(addresses);
    showSignIn(s.enabled, addresses.empty() ? std::string() : addresses.front().host, s.port);
    clients_->setText(clientText(model_->clientCount()));
}

// The code is drawn again only when what it says changes.
void RemoteSettingsTab::showSignIn(bool enabled, const std::string& host, int port) {
    const std::string url =
        enabled && !host.empty() ? remoteSignInURL(host, port, model_->pin()) : std::string();
    form_->setRowVisible(signIn_, !url.empty());
    if (url == shownURL_) return;
    shownURL_ = url;
    // Whole modules rarely fill qrSize exactly; the label takes the code's
    // own size, so the code starts where the other fields do.
    // Drawn in device pixels, so a high-density screen shows sharp modules.
    const qreal ratio = qr_->devicePixelRatioF();
    QPixmap code;
    if (!url.empty()) {
        code = QPixmap::fromImage(remoteQrCode(url, qRound(qrSize * ratio)));
        code.setDevicePixelRatio(ratio);
    }
    qr_->setPixmap(code);
    qr_->setFixedSize(code.deviceIndependentSize().toSize());
    url_->setText(QString::fromStdString(url.substr(0, url.find('#'))));
}

} // namespace ostinel

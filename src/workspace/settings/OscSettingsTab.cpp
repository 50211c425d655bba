#include "workspace/settings/OscSettingsTab.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "platform/MainLoop.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/OscSettingsModel.h"
#include "workspace/settings/PortField.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {
namespace {

QLineEdit* hostEdit() {
    auto* edit = new QLineEdit;
    edit->setPlaceholderText("IP address or host name");
    edit->setMinimumWidth(240);
    edit->setMaximumWidth(320);
    return edit;
}

// The port, with the socket's state under it.
QWidget* portRow(PortField* port, QLabel* status) {
    auto* row = new QWidget;
    auto* column = new QVBoxLayout(row);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addWidget(port);
    column->addWidget(status);
    return row;
}

// A word joiner after each slash, so a wrapped line never splits an address.
QString addresses(QString text) {
    return text.replace(QChar('/'), QStringLiteral("/\u2060"));
}

QLabel* statusLabel() {
    auto* label = explanationLabel({});
    QFont font = label->font();
    font.setItalic(true);
    label->setFont(font);
    return label;
}

} // namespace

OscSettingsTab::OscSettingsTab(Workspace& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace), model_(workspace.osc) {
    if (!model_) {
        auto* column = new QVBoxLayout(this);
        column->setContentsMargins(24, 20, 24, 20);
        column->addWidget(explanationLabel("OSC is not available."));
        column->addStretch(1);
        return;
    }
    build();
    reflect();
    refreshStatus();
    statusTimer_ = workspace_.loop.every(statusRefreshSeconds, [this] { refreshStatus(); });
}

OscSettingsTab::~OscSettingsTab() {
    if (statusTimer_) workspace_.loop.cancel(statusTimer_);
}

void OscSettingsTab::build() {
    receive_ = settingsCheckBox("Receive OSC Commands");
    receivePort_ = new PortField;
    listenerStatus_ = statusLabel();
    feedback_ = settingsCheckBox("Send Status Feedback");
    feedbackHost_ = hostEdit();
    feedbackPort_ = new PortField;
    feedbackStatus_ = statusLabel();
    trigger_ = settingsCheckBox("Send Timeline Triggers");
    triggerHost_ = hostEdit();
    triggerPort_ = new PortField;
    triggerStatus_ = statusLabel();

    QFormLayout* form = settingsForm(scrollingPage(this));
    form->addRow(
        "Commands:",
        settingsField(receive_, addresses("Listens on this UDP port for /ostinel/go, /ostinel/stop, "
                                          "/ostinel/playPause, /ostinel/next and /ostinel/previous; "
                                          "/ostinel/track/select and /ostinel/track/go take a cue number "
                                          "(1 is the first), /ostinel/mode takes “show” or “edit”.")));
    form->addRow("Port:", portRow(receivePort_, listenerStatus_));
    form->addRow(
        "Feedback:",
        settingsField(feedback_, addresses("Sends /ostinel/status/playing, /ostinel/status/track, "
                                           "/ostinel/status/mode and /ostinel/status/trackCount as they "
                                           "change, to a control surface such as Bitfocus Companion.")));
    form->addRow("Host:", feedbackHost_);
    form->addRow("Port:", portRow(feedbackPort_, feedbackStatus_));
    form->addRow("Triggers:",
                 settingsField(trigger_,
                               "Sends the timeline's OSC triggers to show gear as they pass. "
                               "The show file keeps this address too, so it travels with the show."));
    form->addRow("Host:", triggerHost_);
    form->addRow("Port:", portRow(triggerPort_, triggerStatus_));

    connect(receive_, &QCheckBox::toggled, this,
            [this](bool on) { edit([on](OscSettings& s) { s.enabled = on; }); });
    connect(feedback_, &QCheckBox::toggled, this,
            [this](bool on) { edit([on](OscSettings& s) { s.feedbackEnabled = on; }); });
    connect(trigger_, &QCheckBox::toggled, this,
            [this](bool on) { edit([on](OscSettings& s) { s.triggerOutputEnabled = on; }); });
    connect(receivePort_, &PortField::portChosen, this,
            [this](int port) { edit([port](OscSettings& s) { s.port = port; }); });
    connect(feedbackPort_, &PortField::portChosen, this,
            [this](int port) { edit([port](OscSettings& s) { s.feedbackPort = port; }); });
    connect(triggerPort_, &PortField::portChosen, this,
            [this](int port) { edit([port](OscSettings& s) { s.triggerPort = port; }); });
    connect(feedbackHost_, &QLineEdit::editingFinished, this, [this] {
        const auto host = feedbackHost_->text().trimmed().toStdString();
        edit([&host](OscSettings& s) { s.feedbackHost = host; });
    });
    connect(triggerHost_, &QLineEdit::editingFinished, this, [this] {
        const auto host = triggerHost_->text().trimmed().toStdString();
        edit([&host](OscSettings& s) { s.triggerHost = host; });
    });
}

// Unchanged values are not written: leaving a host field untouched must not
// reopen its socket.
void OscSettingsTab::edit(const std::function<void(OscSettings&)>& change) {
    const OscSettings before = model_->oscSettings();
    OscSettings after = before;
    change(after);
    if (after != before) model_->setOscSettings(after);
    reflect();
    refreshStatus();
}

void OscSettingsTab::reflect() {
    const OscSettings s = model_->oscSettings();
    const QSignalBlocker a(receive_), b(feedback_), c(trigger_);
    receive_->setChecked(s.enabled);
    feedback_->setChecked(s.feedbackEnabled);
    trigger_->setChecked(s.triggerOutputEnabled);
    receivePort_->setPort(s.port);
    feedbackPort_->setPort(s.feedbackPort);
    triggerPort_->setPort(s.triggerPort);
    feedbackHost_->setText(QString::fromStdString(s.feedbackHost));
    triggerHost_->setText(QString::fromStdString(s.triggerHost));
}

void OscSettingsTab::refreshStatus() {
    for (auto [label, text] : {std::pair{listenerStatus_, model_->listenerStatus()},
                               {feedbackStatus_, model_->feedbackStatus()},
                               {triggerStatus_, model_->triggerStatus()}}) {
        label->setText(QString::fromStdString(text));
        label->setHidden(text.empty());
    }
}

} // namespace ostinel

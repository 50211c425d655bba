#include "workspace/settings/SettingsWindow.h"

#include <QTabWidget>
#include <QVBoxLayout>

#include "platform/Preferences.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/AudioSettingsTab.h"
#include "workspace/settings/GeneralSettingsTab.h"
#include "workspace/settings/MidiSettingsTab.h"
#include "workspace/settings/OscSettingsTab.h"
#include "workspace/settings/RemoteSettingsTab.h"

namespace ostinel {

namespace {
constexpr const char* tabKey = "settingsTab";
constexpr const char* defaultTab = "General";
} // namespace

SettingsWindow::SettingsWindow(Workspace& workspace, QWidget* parent)
    : QWidget(parent, Qt::Window), workspace_(workspace) {
    setWindowTitle("Settings");
    setFixedSize(600, 520);

    tabs_ = new QTabWidget;
    tabs_->setDocumentMode(true);
    general_ = new GeneralSettingsTab(workspace);
    audio_ = new AudioSettingsTab(workspace);
    midi_ = new MidiSettingsTab(workspace);
    osc_ = new OscSettingsTab(workspace);
    tabs_->addTab(general_, "General");
    tabs_->addTab(audio_, "Audio");
    tabs_->addTab(midi_, "MIDI");
    tabs_->addTab(osc_, "OSC");
    remote_ = new RemoteSettingsTab(workspace);
    // Without a web remote there is nothing to set.
    tabs_->setTabVisible(tabs_->addTab(remote_, "Remote"), workspace.remote != nullptr);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->addWidget(tabs_);

    // Connected after the tabs exist, so building the window writes nothing.
    connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) {
        workspace_.preferences.setValue(tabKey, tabs_->tabText(index).toStdString());
    });
}

void SettingsWindow::showTab(const QString& name) {
    int index = 0;
    for (int i = 0; i < tabs_->count(); ++i)
        if (tabs_->tabText(i) == name && tabs_->isTabVisible(i)) index = i;
    tabs_->setCurrentIndex(index);
    workspace_.preferences.setValue(tabKey, tabs_->tabText(index).toStdString());
}

QString SettingsWindow::currentTabName() const {
    return tabs_->tabText(tabs_->currentIndex());
}

// Another window may have written the key to open us on its tab.
void SettingsWindow::showEvent(QShowEvent* event) {
    showTab(QString::fromStdString(workspace_.preferences.stringValue(tabKey).value_or(defaultTab)));
    QWidget::showEvent(event);
}

} // namespace ostinel

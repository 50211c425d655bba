#include "platform/QtDialogs.h"

#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace ostinel {

namespace {
QString filterFor(const std::vector<std::string>& extensions) {
    if (extensions.empty()) return {};
    QStringList patterns;
    for (const auto& e : extensions) patterns << "*." + QString::fromStdString(e);
    return QString("Supported files (%1)").arg(patterns.join(' '));
}

// Escape and the close button leave without pressing any button: QMessageBox
// would press its escape button instead, and that may be the destructive one.
class AlertBox final : public QMessageBox {
public:
    using QMessageBox::QMessageBox;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->matches(QKeySequence::Cancel)) {
            reject();
            return;
        }
        QMessageBox::keyPressEvent(event);
    }
    void closeEvent(QCloseEvent* event) override { QDialog::closeEvent(event); }
};

// Opens a file, or takes a selected folder as the answer. Plain QFileDialog
// modes allow one or the other: in a file mode, accepting a folder only
// enters it. Double-clicking a folder still enters it.
class FileOrFolderDialog final : public QFileDialog {
public:
    using QFileDialog::QFileDialog;

    void accept() override {
        const QStringList chosen = selectedFiles();
        if (chosen.size() == 1 && QFileInfo(chosen.front()).isDir()) {
            QDialog::accept();
            return;
        }
        QFileDialog::accept();
    }
};
} // namespace

int QtDialogs::alert(const AlertRequest& request) {
    AlertBox box(parent_);
    box.setIcon(QMessageBox::Warning);
    box.setText(QString::fromStdString(request.message));
    box.setInformativeText(QString::fromStdString(request.informativeText));
    std::vector<QAbstractButton*> buttons;
    for (std::size_t i = 0; i < request.buttons.size(); ++i) {
        // The first button is the default; the roles only place the buttons.
        auto role = i == 0 ? QMessageBox::AcceptRole
                           : (i + 1 == request.buttons.size() ? QMessageBox::RejectRole : QMessageBox::DestructiveRole);
        buttons.push_back(box.addButton(QString::fromStdString(request.buttons[i]), role));
    }
    if (!buttons.empty()) box.setDefaultButton(static_cast<QPushButton*>(buttons.front()));
    box.exec();
    for (std::size_t i = 0; i < buttons.size(); ++i)
        if (box.clickedButton() == buttons[i]) return int(i);
    return noAnswer;
}

std::vector<std::string> QtDialogs::openPanel(const OpenPanelRequest& request) {
    const bool fileOrFolder = request.canChooseDirectories && request.canChooseFiles;
    std::unique_ptr<QFileDialog> owned =
        fileOrFolder ? std::make_unique<FileOrFolderDialog>(parent_, QString::fromStdString(request.message))
                     : std::make_unique<QFileDialog>(parent_, QString::fromStdString(request.message));
    QFileDialog& dialog = *owned;
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    if (request.canChooseDirectories && !request.canChooseFiles) {
        dialog.setFileMode(QFileDialog::Directory);
    } else {
        dialog.setFileMode(request.allowsMultipleSelection ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
        if (QString filter = filterFor(request.extensions); !filter.isEmpty())
            dialog.setNameFilters({filter, "All files (*)"});
    }
    if (fileOrFolder) {
        // A native panel would not ask our accept(); "Open" would read as entering the folder.
        dialog.setOption(QFileDialog::DontUseNativeDialog);
        dialog.setLabelText(QFileDialog::Accept, "Choose");
    }
    std::vector<std::string> result;
    if (dialog.exec() != QDialog::Accepted) return result;
    for (const QString& f : dialog.selectedFiles()) result.push_back(QFile::encodeName(f).toStdString());
    return result;
}

std::optional<std::string> QtDialogs::savePanel(const SavePanelRequest& request) {
    QFileDialog dialog(parent_, QString::fromStdString(request.message));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.selectFile(QString::fromStdString(request.suggestedName));
    if (!request.nameFieldLabel.empty()) dialog.setLabelText(QFileDialog::FileName, QString::fromStdString(request.nameFieldLabel));
    if (QString filter = filterFor(request.extensions); !filter.isEmpty()) dialog.setNameFilter(filter);
    if (!request.extensions.empty()) dialog.setDefaultSuffix(QString::fromStdString(request.extensions.front()));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return QFile::encodeName(dialog.selectedFiles().front()).toStdString();
}

} // namespace ostinel

#include "platform/QtDialogs.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

namespace ostinel {

namespace {
QString filterFor(const std::vector<std::string>& extensions) {
    if (extensions.empty()) return {};
    QStringList patterns;
    for (const auto& e : extensions) patterns << "*." + QString::fromStdString(e);
    return QString("Supported files (%1)").arg(patterns.join(' '));
}
} // namespace

int QtDialogs::alert(const AlertRequest& request) {
    QMessageBox box(parent_);
    box.setIcon(QMessageBox::Warning);
    box.setText(QString::fromStdString(request.message));
    box.setInformativeText(QString::fromStdString(request.informativeText));
    std::vector<QAbstractButton*> buttons;
    for (std::size_t i = 0; i < request.buttons.size(); ++i) {
        // The first button is the default, the last of several the escape.
        auto role = i == 0 ? QMessageBox::AcceptRole
                           : (i + 1 == request.buttons.size() ? QMessageBox::RejectRole : QMessageBox::DestructiveRole);
        buttons.push_back(box.addButton(QString::fromStdString(request.buttons[i]), role));
    }
    if (!buttons.empty()) box.setDefaultButton(static_cast<QPushButton*>(buttons.front()));
    box.exec();
    for (std::size_t i = 0; i < buttons.size(); ++i)
        if (box.clickedButton() == buttons[i]) return int(i);
    return int(buttons.size()) - 1;
}

std::vector<std::string> QtDialogs::openPanel(const OpenPanelRequest& request) {
    QFileDialog dialog(parent_, QString::fromStdString(request.message));
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    if (request.canChooseDirectories && !request.canChooseFiles) {
        dialog.setFileMode(QFileDialog::Directory);
    } else {
        dialog.setFileMode(request.allowsMultipleSelection ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
        if (QString filter = filterFor(request.extensions); !filter.isEmpty())
            dialog.setNameFilters({filter, "All files (*)"});
    }
    // Files and folders at once: accept a folder when the operator opens it and presses Choose.
    if (request.canChooseDirectories && request.canChooseFiles) dialog.setOption(QFileDialog::DontUseNativeDialog);
    std::vector<std::string> result;
    if (dialog.exec() != QDialog::Accepted) return result;
    for (const QString& f : dialog.selectedFiles()) result.push_back(f.toStdString());
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
    return dialog.selectedFiles().front().toStdString();
}

} // namespace ostinel

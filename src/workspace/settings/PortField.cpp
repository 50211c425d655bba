#include "workspace/settings/PortField.h"

#include <QLabel>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "workspace/common/Theme.h"

namespace ostinel {

PortField::PortField(QWidget* parent) : QWidget(parent) {
    editor_ = new QLineEdit;
    // Digits only, but no range: a validator's range would swallow "0" or
    // "70000" silently instead of telling the operator why.
    editor_->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("\\d{0,6}")), editor_));
    editor_->setFixedWidth(90);
    error_ = new QLabel(QString::fromUtf8(rangeMessage));
    QPalette palette = error_->palette();
    palette.setColor(QPalette::WindowText, theme::warning);
    error_->setPalette(palette);
    error_->hide();

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addWidget(editor_, 0, Qt::AlignLeft);
    column->addWidget(error_);
    connect(editor_, &QLineEdit::editingFinished, this, &PortField::finished);
}

void PortField::setPort(int port) {
    editor_->setText(QString::number(port));
    error_->hide();
}

void PortField::finished() {
    bool ok = false;
    const int port = editor_->text().toInt(&ok);
    if (!ok || port < 1 || port > 65535) {
        error_->show();
        return;
    }
    error_->hide();
    emit portChosen(port);
}

} // namespace ostinel

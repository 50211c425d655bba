#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;

namespace ostinel {

// A network port typed by the operator. Only a finished entry counts, and
// only one in range is passed on; anything else stays in the field with a
// line saying what is wanted, and the stored port is left alone.
class PortField : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* rangeMessage = "Choose a port between 1 and 65535.";

    explicit PortField(QWidget* parent = nullptr);

    // Shows a stored port and clears any complaint.
    void setPort(int port);
    QLineEdit* editor() const { return editor_; }
    QLabel* errorLabel() const { return error_; }

signals:
    void portChosen(int port);

private:
    void finished();

    QLineEdit* editor_ = nullptr;
    QLabel* error_ = nullptr;
};

} // namespace ostinel

#include "shell/WidgetDialogs.h"

#include <QMessageBox>

namespace tonaris {

void WidgetDialogs::message(QWidget *parent, const QString &text, Icon icon, const QString &title)
{
    QMessageBox::Icon boxIcon = QMessageBox::Information;
    switch (icon) {
    case Exclamation:
        boxIcon = QMessageBox::Warning;
        break;
    case Stop:
        boxIcon = QMessageBox::Critical;
        break;
    case Question:
        boxIcon = QMessageBox::Question;
        break;
    case Information:
        break;
    }
    QMessageBox box(boxIcon, title.isEmpty() ? QStringLiteral("Tonaris") : title, text,
                    QMessageBox::Ok, parent);
    box.exec();
}

} // namespace tonaris

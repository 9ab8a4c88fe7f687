#include "shell/WidgetDialogs.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

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

int WidgetDialogs::choose(QWidget *parent, const QString &text, const QStringList &buttons,
                          const QString &title)
{
    QMessageBox box(QMessageBox::Question, title.isEmpty() ? QStringLiteral("Tonaris") : title,
                    text, QMessageBox::NoButton, parent);
    QList<QAbstractButton *> added;
    for (const QString &caption : buttons)
        added.append(box.addButton(caption, QMessageBox::AcceptRole));
    if (!added.isEmpty())
        box.setEscapeButton(added.last());
    box.exec();
    return int(added.indexOf(box.clickedButton()));
}

QString WidgetDialogs::openFileName(QWidget *parent, const QString &title, const QString &filter)
{
    return QFileDialog::getOpenFileName(parent, title, QString(), filter);
}

QStringList WidgetDialogs::openFileNames(QWidget *parent, const QString &title,
                                         const QString &filter)
{
    return QFileDialog::getOpenFileNames(parent, title, QString(), filter);
}

QString WidgetDialogs::saveFileName(QWidget *parent, const QString &title, const QString &filter,
                                    const QString &initialName)
{
    // The program asks its own question about replacing a file.
    return QFileDialog::getSaveFileName(parent, title, initialName, filter, nullptr,
                                        QFileDialog::DontConfirmOverwrite);
}

} // namespace tonaris

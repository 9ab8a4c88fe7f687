#pragma once

#include "config/Dialogs.h"

namespace tonaris {

// Message boxes on screen, titled "Tonaris" unless a title is given.
class WidgetDialogs : public Dialogs
{
public:
    void message(QWidget *parent, const QString &text, Icon icon, const QString &title) override;
    int choose(QWidget *parent, const QString &text, const QStringList &buttons,
               const QString &title) override;
    QString openFileName(QWidget *parent, const QString &title, const QString &filter) override;
    QStringList openFileNames(QWidget *parent, const QString &title,
                              const QString &filter) override;
    QString saveFileName(QWidget *parent, const QString &title, const QString &filter,
                         const QString &initialName) override;
};

} // namespace tonaris

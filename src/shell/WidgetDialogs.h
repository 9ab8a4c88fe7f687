#pragma once

#include "config/Dialogs.h"

namespace tonaris {

// Message boxes on screen, titled "Tonaris" unless a title is given.
class WidgetDialogs : public Dialogs
{
public:
    void message(QWidget *parent, const QString &text, Icon icon, const QString &title) override;
};

} // namespace tonaris

#include "shell/Form1.h"
#include "shell/WidgetDialogs.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonaris"));
    tonaris::WidgetDialogs dialogs;
    tonaris::Dialogs::install(&dialogs);
    tonaris::Form1 window;
    window.show();
    const int status = QApplication::exec();
    tonaris::Dialogs::install(nullptr);
    return status;
}

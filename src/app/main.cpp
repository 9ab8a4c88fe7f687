#include "shell/Form1.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonaris"));
    tonaris::Form1 window;
    window.show();
    return QApplication::exec();
}

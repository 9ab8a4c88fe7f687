#pragma once
#include <QMainWindow>
namespace tonaris {
class Form1 : public QMainWindow
{
    Q_OBJECT
public:
    using QMainWindow::QMainWindow;
};
} // namespace tonaris

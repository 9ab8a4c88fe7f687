#pragma once
#include <QObject>
namespace tonaris {
class SpeechSession : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
};
} // namespace tonaris

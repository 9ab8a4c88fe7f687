#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace tonaris {

// What the desktop's media controls may ask of the reader, and what they are shown.
struct MediaCommands
{
    std::function<void()> play, pause, playPause, stop, next, previous, raise, quit;
    std::function<int()> status;    // a MediaControls::Status
    std::function<QString()> title; // the line being read
    std::function<int()> line;      // its number from 1, 0 when none
};

// The reader on the session bus as a media player (MPRIS), so that media keys and the
// desktop's sound menu play, pause, stop and move by lines, with the line being read shown as
// the title. Without a session bus it does nothing. A second running Tonaris takes a name of
// its own ("org.mpris.MediaPlayer2.tonaris.instance<pid>").
class MediaControls : public QObject
{
    Q_OBJECT
public:
    enum Status { Stopped, Playing, Paused };

    MediaControls(MediaCommands commands, QObject *parent = nullptr);
    ~MediaControls() override;

    // The bus name taken; empty when there is no session bus.
    QString serviceName() const { return m_service; }

    // Tells the bus what changed since the last call: call it on each tick.
    void refresh();

    // For the adaptors.
    const MediaCommands &commands() const { return m_commands; }
    QString playbackStatus() const;
    QVariantMap metadata() const;

private:
    MediaCommands m_commands;
    QString m_service;
    int m_lastStatus = Stopped;
    QString m_lastTitle;
    int m_lastLine = 0;
};

} // namespace tonaris

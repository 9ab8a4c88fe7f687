#pragma once

#include <QString>

// The compressed formats written beside WAV and MP3, on libsndfile: Ogg Vorbis (.ogg, .oga),
// Opus (.opus) and FLAC (.flac), chosen by the target's extension. A finished WAV is encoded
// into a hidden part file beside the target (".<name>.part"), which replaces the target only
// when complete. Memory stays flat: the audio passes in small blocks. Safe on any thread; one
// call works on its own files only.
namespace tonaris::SoundFileEncoder {

// Whether the path's extension names one of these formats.
bool Handles(const QString &path);

// Encodes `wav` into `target` with `title` as its title tag; the WAV is left alone. Opus takes
// 48 kHz only, so other rates are resampled. False with a message when it fails; the target
// is then untouched and no part file is left.
bool EncodeWav(const QString &wav, const QString &target, const QString &title, QString *error);

// The part file `target` is written to first.
QString PartPath(const QString &target);

} // namespace tonaris::SoundFileEncoder

#include "shell/TranslateForm.h"

#include "config/MultiLang.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QSet>
#include <QTextEdit>

namespace tonaris {

namespace {

// What a control offers to translation.
struct Offer
{
    bool caption = false;
    bool toolTip = false;
};

Offer offerOf(const QWidget *w)
{
    if (qobject_cast<const QLineEdit *>(w) || qobject_cast<const QPlainTextEdit *>(w) ||
        qobject_cast<const QTextEdit *>(w) || qobject_cast<const QComboBox *>(w))
        return {false, true};
    if (qobject_cast<const QLabel *>(w) || qobject_cast<const QGroupBox *>(w) ||
        qobject_cast<const QAbstractButton *>(w))
        return {true, true};
    if (qobject_cast<const QMenu *>(w))
        return {true, false};
    return {};
}

QString captionOf(const QWidget *w)
{
    if (auto *label = qobject_cast<const QLabel *>(w))
        return label->text();
    if (auto *box = qobject_cast<const QGroupBox *>(w))
        return box->title();
    if (auto *button = qobject_cast<const QAbstractButton *>(w))
        return button->text();
    if (auto *menu = qobject_cast<const QMenu *>(w))
        return menu->title();
    return QString();
}

void setCaption(QWidget *w, const QString &text)
{
    if (auto *label = qobject_cast<QLabel *>(w))
        label->setText(text);
    else if (auto *box = qobject_cast<QGroupBox *>(w))
        box->setTitle(text);
    else if (auto *button = qobject_cast<QAbstractButton *>(w))
        button->setText(text);
    else if (auto *menu = qobject_cast<QMenu *>(w))
        menu->setTitle(text);
}

// Qt's own helpers, and controls whose words are kept as they are (the status words).
bool isLeftAlone(const QObject *o)
{
    return o->objectName().startsWith(QLatin1String("qt_")) ||
           o->property(UntranslatedProperty).toBool();
}

// The controls of a window in creation order, then the actions of its menus. A submenu's
// action carries the menu's title, so it is left to the menu.
void collect(QWidget *form, QList<QWidget *> &controls, QList<QAction *> &actions)
{
    QSet<QAction *> seen;
    for (QWidget *w : form->findChildren<QWidget *>()) {
        if (isLeftAlone(w))
            continue;
        controls.append(w);
        if (auto *menu = qobject_cast<QMenu *>(w)) {
            for (QAction *a : menu->actions()) {
                if (!a->isSeparator() && !a->menu() && !seen.contains(a)) {
                    seen.insert(a);
                    actions.append(a);
                }
            }
        }
    }
}

int entryOf(const QString &text)
{
    return text.isEmpty() ? -1 : MultiLang::EntryIndex(text);
}

} // namespace

void TranslateForm(QWidget *form)
{
    if (!form || MultiLang::LanguageEntryCount() == 0)
        return;
    if (const int e = entryOf(form->windowTitle()); e >= 0)
        form->setWindowTitle(MultiLang::EntryValue(e));

    QList<QWidget *> controls;
    QList<QAction *> actions;
    collect(form, controls, actions);
    for (QWidget *w : controls) {
        const Offer offer = offerOf(w);
        const int caption = offer.caption ? entryOf(captionOf(w)) : -1;
        const int tip = offer.toolTip ? entryOf(w->toolTip()) : -1;
        // The entries are searched in file order, the caption first at each: the earlier hit
        // is the only change.
        if (caption >= 0 && (tip < 0 || caption <= tip))
            setCaption(w, OneMnemonic(MultiLang::EntryValue(caption)));
        else if (tip >= 0)
            w->setToolTip(MultiLang::EntryValue(tip));
    }
    for (QAction *a : actions) {
        if (const int e = entryOf(a->text()); e >= 0)
            a->setText(OneMnemonic(MultiLang::EntryValue(e)));
    }
}

QString OneMnemonic(const QString &caption)
{
    QList<qsizetype> marks; // the single "&"s
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (caption[i] != u'&')
            continue;
        if (i + 1 < caption.size() && caption[i + 1] == u'&')
            ++i;
        else
            marks.append(i);
    }
    QString out = caption;
    for (qsizetype k = marks.size() - 2; k >= 0; --k) // from the back, so positions hold
        out.remove(marks[k], 1);
    return out;
}

QList<FormText> FormTexts(QWidget *form)
{
    QList<FormText> texts;
    if (!form)
        return texts;
    const auto add = [&texts](QObject *o, FormText::Kind kind, const QString &text) {
        if (!text.isEmpty())
            texts.append({o, kind, text});
    };
    add(form, FormText::Caption, form->windowTitle());
    QList<QWidget *> controls;
    QList<QAction *> actions;
    collect(form, controls, actions);
    for (QWidget *w : controls) {
        const Offer offer = offerOf(w);
        if (offer.caption)
            add(w, FormText::Caption, captionOf(w));
        if (offer.toolTip)
            add(w, FormText::ToolTip, w->toolTip());
    }
    for (QAction *a : actions)
        add(a, FormText::Caption, a->text());
    return texts;
}

QStringList UntranslatedTexts(QWidget *form)
{
    QStringList missing;
    for (const FormText &t : FormTexts(form)) {
        if (!MultiLang::HasEntry(t.text) && !missing.contains(t.text))
            missing.append(t.text);
    }
    return missing;
}

} // namespace tonaris

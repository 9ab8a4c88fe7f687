#!/usr/bin/env python3
"""Writes the talking character's frames: three male and three female faces, each idle, with
the mouth open in three steps, and with the eyes closed. Run it again after changing a face;
the SVG files it writes are what the program ships."""
import os

HERE = os.path.dirname(os.path.abspath(__file__))

FACES = {
    "male": [
        dict(skin="#f1c7a3", hair="#5a3a1e", style="short", extra="beard"),
        dict(skin="#c98e62", hair="#1e1e1e", style="short", extra="glasses"),
        dict(skin="#8d5a3b", hair="#3b2a20", style="bald", extra="moustache"),
    ],
    "female": [
        dict(skin="#f3cfb3", hair="#d9a441", style="long", extra=""),
        dict(skin="#b97a56", hair="#2b1a12", style="bob", extra="earrings"),
        dict(skin="#e8b896", hair="#a0381f", style="bun", extra="glasses"),
    ],
}

MOUTHS = {
    "idle": '<path d="M40 76 Q50 80 60 76" fill="none" stroke="#7a2e2e" stroke-width="2.5" stroke-linecap="round"/>',
    "mouth1": '<ellipse cx="50" cy="77" rx="8" ry="3" fill="#5c1f1f"/>',
    "mouth2": '<ellipse cx="50" cy="78" rx="9" ry="6" fill="#5c1f1f"/><rect x="43" y="73" width="14" height="2.5" fill="#fff"/>',
    "mouth3": '<ellipse cx="50" cy="79" rx="10" ry="9.5" fill="#5c1f1f"/><rect x="42" y="71" width="16" height="3" fill="#fff"/><ellipse cx="50" cy="84" rx="5" ry="3" fill="#c0505a"/>',
}


def hair(face, female):
    c = face["hair"]
    s = face["style"]
    if s == "short":
        return f'<path d="M22 48 Q22 16 50 16 Q78 16 78 48 Q74 30 50 28 Q26 30 22 48Z" fill="{c}"/>'
    if s == "bald":
        return f'<path d="M22 52 Q22 40 26 36 L28 50Z M78 52 Q78 40 74 36 L72 50Z" fill="{c}"/>'
    if s == "long":
        return (f'<path d="M18 92 Q14 40 24 26 Q36 12 50 13 Q66 12 76 26 Q86 40 82 92 L74 92 Q78 50 72 36 '
                f'Q60 28 50 30 Q34 30 28 40 Q22 50 26 92Z" fill="{c}"/>')
    if s == "bob":
        return (f'<path d="M20 70 Q16 30 34 18 Q50 10 66 18 Q84 30 80 70 L74 70 Q76 40 66 32 Q50 26 34 32 '
                f'Q24 40 26 70Z" fill="{c}"/>')
    # bun
    return (f'<circle cx="50" cy="12" r="9" fill="{c}"/>'
            f'<path d="M22 48 Q22 18 50 18 Q78 18 78 48 Q72 30 50 29 Q28 30 22 48Z" fill="{c}"/>')


def eyes(closed):
    if closed:
        return ('<path d="M34 52 Q39 55 44 52 M56 52 Q61 55 66 52" fill="none" stroke="#222" '
                'stroke-width="2.5" stroke-linecap="round"/>')
    return ('<ellipse cx="39" cy="51" rx="5" ry="4" fill="#fff"/><ellipse cx="61" cy="51" rx="5" ry="4" fill="#fff"/>'
            '<circle cx="39" cy="51" r="2.6" fill="#2a3a5a"/><circle cx="61" cy="51" r="2.6" fill="#2a3a5a"/>')


def extra(face):
    e = face["extra"]
    if e == "beard":
        return f'<path d="M28 66 Q30 92 50 94 Q70 92 72 66 Q66 86 50 86 Q34 86 28 66Z" fill="{face["hair"]}"/>'
    if e == "moustache":
        return '<path d="M38 70 Q50 64 62 70 Q50 68 38 70Z" fill="#2a1a12" stroke="#2a1a12" stroke-width="2"/>'
    if e == "glasses":
        return ('<g fill="none" stroke="#333" stroke-width="2"><circle cx="39" cy="51" r="8"/>'
                '<circle cx="61" cy="51" r="8"/><path d="M47 51 L53 51"/></g>')
    if e == "earrings":
        return '<circle cx="23" cy="66" r="3" fill="#e0c040"/><circle cx="77" cy="66" r="3" fill="#e0c040"/>'
    return ""


def frame(face, female, mouth, closed):
    brows = '<path d="M32 43 L45 42 M55 42 L68 43" stroke="#3a2a20" stroke-width="2" stroke-linecap="round"/>'
    lashes = ('<path d="M33 47 L31 45 M45 47 L47 45 M55 47 L53 45 M67 47 L69 45" stroke="#222" stroke-width="1.5"/>'
              if female and not closed else "")
    lips = '<path d="M42 76 Q50 72 58 76" fill="none" stroke="#c0505a" stroke-width="1.5"/>' if female else ""
    parts = [
        '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 100 110" width="100" height="110">',
        '<rect x="36" y="88" width="28" height="22" fill="' + face["skin"] + '"/>',
        '<path d="M12 110 Q14 96 36 94 L64 94 Q86 96 88 110Z" fill="' + ("#6a4c93" if female else "#3b6ea5") + '"/>',
        hair(face, female) if face["style"] in ("long", "bob") else "",
        '<ellipse cx="22" cy="56" rx="5" ry="8" fill="' + face["skin"] + '"/>',
        '<ellipse cx="78" cy="56" rx="5" ry="8" fill="' + face["skin"] + '"/>',
        '<ellipse cx="50" cy="56" rx="28" ry="36" fill="' + face["skin"] + '"/>',
        hair(face, female) if face["style"] not in ("long", "bob") else "",
        brows, eyes(closed), lashes,
        '<path d="M50 56 Q47 66 50 68 Q53 68 54 66" fill="none" stroke="#9a6a50" stroke-width="1.5"/>',
        MOUTHS[mouth], lips if mouth == "idle" else "", extra(face), "</svg>",
    ]
    return "".join(p for p in parts if p) + "\n"


for gender, faces in FACES.items():
    for i, face in enumerate(faces):
        for name, mouth, closed in (("idle", "idle", False), ("mouth1", "mouth1", False),
                                    ("mouth2", "mouth2", False), ("mouth3", "mouth3", False),
                                    ("blink", "idle", True)):
            path = os.path.join(HERE, f"{gender}{i}-{name}.svg")
            with open(path, "w") as f:
                f.write(frame(face, gender == "female", mouth, closed))

"""The picture of what measure.py found: a bar for each side, text and way, told apart without colour."""

from xml.sax.saxutils import escape

import report

# Side, level, its name in the picture, and its fill.
BARS = [
    ("kcodepage", "best", "KCodePage, with what the processor has", "black"),
    ("kcodepage", "sse2", "KCodePage, SSE2 only", "url(#stripes)"),
    ("icu", "best", "ICU, converter opened once", "url(#dots)"),
    ("encoding_rs", "best", "encoding_rs", "url(#cross)"),
    ("iconv", "best", "iconv of the C library", "white"),
]
BAR, GAP, LABEL, PANEL, VALUE = 9, 8, 136, 330, 70
HEAD = 118

PATTERNS = """<defs>
<pattern id="stripes" width="5" height="5" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect width="5" height="5" fill="white"/><rect width="2.5" height="5" fill="black"/></pattern>
<pattern id="dots" width="4" height="4" patternUnits="userSpaceOnUse">
<rect width="4" height="4" fill="white"/><circle cx="2" cy="2" r="1" fill="black"/></pattern>
<pattern id="cross" width="6" height="6" patternUnits="userSpaceOnUse">
<rect width="6" height="6" fill="white"/><path d="M0 0L6 6M6 0L0 6" stroke="black" stroke-width="0.7"/></pattern>
</defs>
"""


def text_at(x, y, text, size=11, extra=""):
    return f'<text x="{x:.0f}" y="{y:.0f}" font-size="{size}" {extra}>{escape(text)}</text>\n'


def speed(results, level, key, side):
    row = results["levels"].get(level, {}).get(key, {})
    return row[side].speed() if side in row else None


def panel(results, group, title, texts, bars, left):
    """One way, decode or encode: its bars, and where they end."""
    values = {(text, bar): speed(results, bar[1], group + "/" + text, bar[0]) for text in texts for bar in bars}
    most = max((value for value in values.values() if value), default=1)
    svg = text_at(left, HEAD - 12, title, 13, 'font-weight="bold"')
    y = HEAD
    for text in texts:
        for bar in bars:
            value = values[text, bar]
            if value:
                width = max(1.0, value / most * PANEL)
                svg += (f'<rect x="{left}" y="{y}" width="{width:.1f}" height="{BAR - 1}" fill="{bar[3]}" '
                        'stroke="black" stroke-width="0.6"/>\n')
                label = report.number(value)
                over = report.ratio(results["levels"][bar[1]][group + "/" + text], "icu")
                if bar[0] == "kcodepage" and over:
                    label += f" = {report.number(over)} x ICU"
                svg += text_at(left + width + 4, y + BAR - 2, label, 8)
            y += BAR
        y += GAP
    return svg, y


def write(path, results):
    texts = sorted({key.split("/")[1] for medians in results["levels"].values() for key in medians
                    if key.startswith("decode/")})
    bars = [bar for bar in BARS if any(speed(results, bar[1], "decode/" + text, bar[0]) for text in texts)]
    second = LABEL + PANEL + VALUE + 20
    decode, bottom = panel(results, "decode", "Decode, GB/s of bytes", texts, bars, LABEL)
    encode, _ = panel(results, "encode", "Encode, GB/s of UTF-16", texts, bars, second)
    labels = "".join(text_at(LABEL - 6, HEAD + index * (BAR * len(bars) + GAP) + BAR * len(bars) / 2 + 4, text, 11,
                             'text-anchor="end"') for index, text in enumerate(texts))
    legend, x = "", 12
    for _, _, name, fill in bars:
        legend += f'<rect x="{x}" y="74" width="22" height="10" fill="{fill}" stroke="black" stroke-width="0.6"/>\n'
        legend += text_at(x + 27, 83, name, 11)
        x += 45 + 6 * len(name)
    machine = results["machine"]
    width, height = second + PANEL + VALUE + 20, bottom + 8
    with open(path, "w", encoding="ascii", errors="xmlcharrefreplace") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                   f'viewBox="0 0 {width} {height}" font-family="sans-serif">\n{PATTERNS}'
                   f'<rect width="{width}" height="{height}" fill="white"/>\n')
        file.write(text_at(12, 22, "Conversion of real texts of 1 MiB into a fresh string, by code page", 15,
                           'font-weight="bold"'))
        file.write(text_at(12, 40, machine["processor"], 10))
        file.write(text_at(12, 54, f"{machine['system']}; compiler {machine['compiler']}; ICU {machine['icu']}; "
                           f"{results['date']}; {results['command']}", 10))
        file.write(legend + labels + decode + encode + "</svg>\n")

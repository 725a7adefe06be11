"""The twelve pages as a picture: CPU time of each program on a logarithmic scale, one line for each page."""

import math

COLORS = {
    "nothing": "#999999", "native": "#555555", "quillet": "#d62728", "php": "#1f77b4", "php -n": "#8fbfe8",
    "perl": "#9467bd", "haserl lua": "#2ca02c", "haserl sh": "#e0a000",
}
WIDTH, LEFT, RIGHT, TOP, LINE = 900, 330, 30, 60, 30


def position(time, low, high):
    share = (math.log10(time) - low) / (high - low)
    return LEFT + share * (WIDTH - LEFT - RIGHT)


def text(x, y, words, anchor="start", color="#222222"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{color}">{words}</text>'


def legend(programs):
    parts, x = [], 20.0
    for name in programs:
        parts.append(f'<circle cx="{x:.1f}" cy="18" r="5" fill="{COLORS[name]}"/>' + text(x + 10, 22, name))
        x += 30 + 7 * len(name)
    return parts


def scale(low, high, bottom):
    parts = []
    for power in range(math.floor(low), math.ceil(high) + 1):
        for factor in (1, 2, 5):
            tick = factor * 10.0 ** power
            if low <= math.log10(tick) <= high:
                x = position(tick, low, high)
                parts.append(f'<line x1="{x:.1f}" y1="{TOP - 10}" x2="{x:.1f}" y2="{bottom}" stroke="#dddddd"/>')
                parts.append(text(x, TOP - 16, f"{tick:g} ms", "middle", "#666666"))
    return parts


def draw(measured, programs):
    times = {each.page.name: {name: each.median(name) for name in programs if name in each.times} for each in measured}
    every = [time for row in times.values() for time in row.values()]
    low, high = math.log10(min(every)) - 0.1, math.log10(max(every)) + 0.1
    height = TOP + LINE * len(measured) + 10
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="sans-serif" font-size="12">',
             '<rect width="100%" height="100%" fill="white"/>']
    parts += legend(programs) + scale(low, high, height - 10)
    for i, each in enumerate(measured):
        y = TOP + LINE * i + LINE / 2
        parts.append(text(20, y + 4, f"{each.page.name}: {each.page.what}"))
        parts.append(f'<line x1="{LEFT}" y1="{y}" x2="{WIDTH - RIGHT}" y2="{y}" stroke="#eeeeee"/>')
        for name, time in times[each.page.name].items():
            radius = 7 if name == "quillet" else 5
            x = position(time, low, high)
            parts.append(f'<circle cx="{x:.1f}" cy="{y}" r="{radius}" fill="{COLORS[name]}" fill-opacity="0.85"/>')
    return "\n".join(parts) + "\n</svg>\n"

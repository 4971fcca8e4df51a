"""Draws plots as SVG."""

import math

COLOURS = ["#1b6ca8", "#d1495b", "#2e8b57", "#8a5fbf", "#c77f1a", "#3aa6a6", "#7a4b2a", "#5f6b7a"]
FONT = 'font-family="sans-serif" font-size="12" fill="#333"'


def _text(x, y, text, anchor="start"):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" {FONT}>{text}</text>'


def _line(x1, y1, x2, y2, colour="#ddd", style=""):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" '
            f"{style}/>")


def _document(width, height, elements):
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
        f'height="{height}">', f'<rect width="{width}" height="{height}" fill="white"/>',
        *elements, "</svg>\n"])


def growth(title, xs, series):
    """Returns a plot of costs against a size, both axes logarithmic. `series` maps a name to one
    value for each size; grey lines grow as the size does."""
    width, height, left, top, right, bottom = 760, 460, 60, 40, 230, 50
    lowest = math.floor(math.log10(min(map(min, series.values()))))
    highest = math.ceil(math.log10(max(map(max, series.values()))))

    def x(value):
        share = math.log(value / xs[0]) / math.log(xs[-1] / xs[0])
        return left + share * (width - left - right)

    def y(value):
        share = (math.log10(value) - lowest) / (highest - lowest)
        return height - bottom - share * (height - top - bottom)

    elements = [_text(left, 22, title)]
    for exponent in range(lowest, highest + 1):
        elements += [_line(left, y(10**exponent), width - right, y(10**exponent)),
                     _text(left - 8, y(10**exponent) + 4, f"1e{exponent}", "end")]
        if 10**exponent * xs[-1] / xs[0] <= 10**highest:
            elements.append(_line(x(xs[0]), y(10**exponent), x(xs[-1]),
                                  y(10**exponent * xs[-1] / xs[0]), style='stroke-dasharray="4"'))
    for size in xs:
        elements.append(_text(x(size), height - bottom + 20, size, "middle"))
    elements.append(_text((left + width - right) / 2, height - 10, "ports", "middle"))

    for place, (name, values) in enumerate(series.items()):
        colour = COLOURS[place % len(COLOURS)]
        points = " ".join(f"{x(size):.1f},{y(value):.1f}" for size, value in zip(xs, values))
        legend = top + 18 * place
        elements += [f'<polyline points="{points}" fill="none" stroke="{colour}" '
                     'stroke-width="2"/>',
                     _line(width - right + 14, legend, width - right + 34, legend, colour,
                           'stroke-width="2"'),
                     _text(width - right + 40, legend + 4, name)]
    return _document(width, height, elements)


def bars(title, rows, parts, unit):
    """Returns a plot of stacked bars. `rows` maps a name to one value for each of the `parts`."""
    width, left, top, step, right = 760, 190, 66, 34, 90
    height = top + step * len(rows) + 10
    scale = (width - left - right) / max(map(sum, rows.values()))

    elements = [_text(12, 22, title)]
    place = 12
    for part, colour in zip(parts, COLOURS):
        elements += [f'<rect x="{place}" y="36" width="12" height="12" fill="{colour}"/>',
                     _text(place + 18, 46, part)]
        place += 40 + 7 * len(part)
    for row, (name, values) in enumerate(rows.items()):
        x, y = left, top + step * row
        elements.append(_text(left - 8, y + 15, name, "end"))
        for value, colour in zip(values, COLOURS):
            elements.append(f'<rect x="{x:.1f}" y="{y}" width="{value * scale:.1f}" height="22" '
                            f'fill="{colour}"/>')
            x += value * scale
        elements.append(_text(x + 6, y + 15, f"{sum(values):.1f} {unit}"))
    return _document(width, height, elements)

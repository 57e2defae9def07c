"""The chart of docs/performance.md: what libraries need for the same frame, as SVG."""

import html

import targets

# Blue and orange, which people who confuse red and green can tell apart; darker ones on a light background.
STYLE = """
text { font: 13px sans-serif; fill: #1b1b1b }
.head, text.own { font-weight: bold }
.unit { fill: #595959 }
.ground { fill: #ffffff }
.grid { stroke: #d9d9d9 }
.bar { fill: #8c8c8c }
.bar.own { fill: #0072b2 }
.kept { fill: #ffffff; stroke: #b34700; stroke-width: 2 }
.floor { stroke: #1b1b1b; stroke-dasharray: 4 3 }
@media (prefers-color-scheme: dark) {
  text { fill: #e6e6e6 }
  .unit { fill: #a6a6a6 }
  .ground { fill: #121212 }
  .grid { stroke: #404040 }
  .bar { fill: #808080 }
  .bar.own { fill: #56b4e9 }
  .kept { fill: #121212; stroke: #ffb000 }
  .floor { stroke: #e6e6e6 }
}
"""
WIDTH, LEFT, LINE = 920, 180, 18
PANEL = WIDTH // 2
LONGEST = PANEL - LEFT - 76


def bars_of(run, operation, obj):
    """Returns the name of each library and its times with owned and with kept bytes, the quickest first."""
    def time(wanted):
        row = run.best(**wanted)
        return row.min if row else None

    bars = [("korvinpackage", time(targets.own("request frame", operation, obj)), None)]
    bars += [(who, *(time(targets.peer(who, operation, obj, result)) for result in ("owned", "kept")))
             for who in targets.PEERS]
    return sorted(bars, key=lambda bar: bar[1])


def step_of(most):
    """Returns the distance between the lines of an axis."""
    return next(step for step in (10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000) if most / step <= 5)


def panel(left, top, title, bars, most, floor):
    """Draws bars from 0 in nanoseconds, with names on their left and figures at their ends."""
    zero, scale = left + LEFT, LONGEST / most
    bottom = top + LINE * len(bars) + 12
    yield f'<text x="{left + 10}" y="{top - 4}" class="head">{title}</text>'
    for tick in range(0, int(most) + 1, step_of(most)):
        x = zero + tick * scale
        yield f'<path d="M{x:.1f} {top + 6}V{bottom}" class="grid"/>'
        yield f'<text x="{x:.1f}" y="{bottom + 14}" text-anchor="middle" class="unit">{tick:,}</text>'
    yield f'<text x="{left + PANEL - 12}" y="{bottom + 14}" text-anchor="end" class="unit">ns</text>'
    for number, (who, owned, kept) in enumerate(bars):
        y = top + 22 + LINE * number
        own = " own" if who == "korvinpackage" else ""
        yield f'<text x="{zero - 8}" y="{y}" text-anchor="end" class="name{own}">{html.escape(who)}</text>'
        yield f'<rect x="{zero}" y="{y - 11}" width="{owned * scale:.1f}" height="13" class="bar{own}"/>'
        yield f'<text x="{zero + owned * scale + 9:.1f}" y="{y}" class="figure{own}">{owned:,.0f}</text>'
        if kept:
            yield f'<circle cx="{zero + kept * scale:.1f}" cy="{y - 4.5}" r="4" class="kept"/>'
    yield f'<path d="M{zero + floor * scale:.1f} {top + 6}V{bottom}" class="floor"/>'


def chart(run, titles):
    """Draws the chart, line by line; titles are those of its parts, by operation and object."""
    bars = {place: bars_of(run, *place) for place in titles}
    most = max(owned for part in bars.values() for _, owned, _ in part)
    floor = run.floor(run.best(**targets.own("request frame", "encode", "fresh"))).min
    height = LINE * (len(targets.PEERS) + 1) + 68
    total = 56 + 2 * height
    yield f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{total}" viewBox="0 0 {WIDTH} {total}">'
    yield f"<style>{STYLE}</style>"
    yield f'<rect width="{WIDTH}" height="{total}" class="ground"/>'
    yield ('<text x="10" y="20" class="head">One write-data request frame with 2,048 bytes of data: '
           "nanoseconds, shorter is better</text>")
    yield '<rect x="10" y="31" width="22" height="11" class="bar"/><text x="38" y="41">frame and fields owned</text>'
    yield '<circle cx="232" cy="36.5" r="4" class="kept"/><text x="242" y="41">frame overwritten by the next</text>'
    yield '<path d="M472 29V45" class="floor"/><text x="480" y="41">malloc, memcpy and free alone</text>'
    for number, (place, title) in enumerate(titles.items()):
        yield from panel(number % 2 * PANEL, 76 + number // 2 * height, title, bars[place], most, floor)
    yield "</svg>"

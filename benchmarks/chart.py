"""The chart of docs/performance.md: what libraries need for the same frame, as SVG."""

import html

import targets

# Blue and orange, which people tell apart who do not see red and green, and darker ones on light ground.
STYLE = """
text { font: 13px sans-serif; fill: #1b1b1b }
.head, .own { font-weight: bold }
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
BAR_ROOM = PANEL - 76
PANELS = [("encode", "reused", "encode, package kept"), ("encode", "fresh", "encode, new package"),
          ("decode", "reused", "decode, package kept"), ("decode", "fresh", "decode, new package")]


def bars_of(runs, operation, obj):
    """The name, the time with owned bytes and the time with kept ones of each library, quickest first."""
    bars = []
    own = runs.best(**targets.own("request frame", operation, obj))
    for who in targets.PEERS:
        owned = runs.best(**targets.peer(who, operation, obj, "owned"))
        kept = runs.best(**targets.peer(who, operation, obj, "kept"))
        if owned:
            bars.append((who, owned.min, kept.min if kept else None))
    return sorted([("korvinpackage", own.min, None), *bars], key=lambda bar: bar[1]), runs.floor(own).min


def step_of(most):
    """The distance of the lines of an axis."""
    return next(step for step in (10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10 ** 9) if most / step <= 6)


def panel(left, top, title, bars, floor):
    """Bars from 0 in nanoseconds, names on their left and figures at their ends."""
    zero, most = left + LEFT, max(time for _, time, _ in bars)
    scale = (BAR_ROOM - LEFT) / most
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
        yield f'<text x="{zero - 8}" y="{y}" text-anchor="end" class="{own.strip()}">{html.escape(who)}</text>'
        yield f'<rect x="{zero}" y="{y - 11}" width="{owned * scale:.1f}" height="13" class="bar{own}"/>'
        yield f'<text x="{zero + owned * scale + 9:.1f}" y="{y}" class="{own.strip()}">{owned:,.0f}</text>'
        if kept:
            yield f'<circle cx="{zero + kept * scale:.1f}" cy="{y - 4.5}" r="4" class="kept"/>'
    yield f'<path d="M{zero + floor * scale:.1f} {top + 6}V{bottom}" class="floor"/>'


def chart(runs):
    lines = len(targets.PEERS) + 1
    height = LINE * lines + 68
    total = 66 + 2 * height
    yield f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{total}" viewBox="0 0 {WIDTH} {total}">'
    yield f"<style>{STYLE}</style>"
    yield f'<rect width="{WIDTH}" height="{total}" class="ground"/>'
    yield ('<text x="10" y="20" class="head">One write-data request frame with 2,048 bytes of data: '
           "nanoseconds, shorter is better</text>")
    yield '<rect x="10" y="31" width="22" height="11" class="bar"/>'
    yield '<text x="38" y="41">bytes and fields of its own</text>'
    yield '<circle cx="232" cy="36.5" r="4" class="kept"/>'
    yield '<text x="244" y="41">bytes in memory that the next frame overwrites</text>'
    yield '<path d="M556 30V43" class="floor"/><text x="564" y="41">malloc, memcpy and free alone</text>'
    for number, (operation, obj, title) in enumerate(PANELS):
        yield from panel(number % 2 * PANEL, 76 + number // 2 * height, title, *bars_of(runs, operation, obj))
    yield "</svg>"

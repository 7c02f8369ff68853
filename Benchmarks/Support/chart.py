"""Draws Docs/benchmarks.svg: how much text a second, we and the peers."""
from measure import OURS, figures_of
from report import NAMES

PANELS = [("W2", "read", "Feed of 1,000 statuses to objects"), ("W1", "read", "One small user to an object"),
          ("W2", "write", "The feed's objects to text"), ("W1", "write", "The user to text"),
          ("W2", "tree", "Feed to dictionaries and arrays"), ("W1", "tree", "User to dictionaries and arrays")]
LEFT_OUT = ("memcpy",)

BAR, GAP, LABELS, WIDTH, PANEL = 15, 5, 138, 930, 450

STYLE = """
  text { font: 12px system-ui, -apple-system, "Segoe UI", Roboto, sans-serif; fill: #444c56; }
  .title { font-size: 17px; font-weight: 600; fill: #1f2328; }
  .panel { font-size: 13px; font-weight: 600; fill: #1f2328; }
  .note { font-size: 11px; fill: #6e7781; }
  .ours { fill: #1f2328; font-weight: 600; }
  .paper { fill: #ffffff; }
  .bar { fill: #b6c2cf; } .bar-ours { fill: #1f7a8c; }
  @media (prefers-color-scheme: dark) {
    text { fill: #adbac7; } .title, .panel, .ours { fill: #e6edf3; } .note { fill: #8b949e; }
    .paper { fill: #0d1117; }
    .bar { fill: #4a5562; } .bar-ours { fill: #4fb3c8; }
  }
"""


def escaped(text):
    return text.replace("&", "&amp;").replace("<", "&lt;")


def chart(results, bytes_of, where):
    parts, bottom = [], 64
    for row in range(0, len(PANELS), 2):
        tallest = 0
        for column, (workload, kind, title) in enumerate(PANELS[row:row + 2]):
            speeds = {who: bytes_of[workload] * 1e3 / figures_of(times)["ns"]
                      for who, times in results.times[workload][kind].items() if who not in LEFT_OUT}
            x, y = 20 + column * (PANEL + 10), bottom
            parts.append('<text class="panel" x="%d" y="%d">%s</text>' % (x, y, escaped(title)))
            room, most = PANEL - LABELS - 75, max(speeds.values())
            for who in sorted(speeds, key=speeds.get, reverse=True):
                y += BAR + GAP
                name = ' class="ours"' if who == OURS else ""
                parts.append('<text%s x="%d" y="%d" text-anchor="end">%s</text>' % (
                    name, x + LABELS, y, escaped(NAMES[who].split(",")[0])))
                width = max(1.0, room * speeds[who] / most)
                parts.append('<rect class="%s" x="%d" y="%d" width="%.1f" height="%d" rx="2"/>' % (
                    "bar-ours" if who == OURS else "bar", x + LABELS + 8, y - 12, width, BAR))
                parts.append('<text%s x="%.1f" y="%d">%.0f</text>' % (name, x + LABELS + 14 + width, y, speeds[who]))
            tallest = max(tallest, y)
        bottom = tallest + 38
    foot = "Megabytes of text a second, more is better; medians of one run with all side by side. %s, %s, %s." % (
        where["date"], where["compiler"], where["machine"])
    parts.append('<text class="note" x="20" y="%d">%s</text>' % (bottom - 8, escaped(foot)))
    return ('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" role="img" aria-label="Speed of KVTFoundation beside '
            'other libraries">\n<style>%s</style>\n<rect class="paper" width="100%%" height="100%%" rx="6"/>\n<text class="title" x="20" y="32">JSON text and typed objects</text>\n%s\n'
            '</svg>\n' % (WIDTH, bottom + 6, STYLE, "\n".join(parts)))

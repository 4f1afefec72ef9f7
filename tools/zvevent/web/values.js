// One small chart for each source and type of event that carries values. What comes from the network
// is put in as text only.
"use strict";

const charts = (() => {
    const kHeight = 120;
    const kSeconds = [1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1800, 3600, 7200, 21600, 86400];
    const all = new Map();  // by key: {series, now, place, plot}

    const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
    const clock = (seconds) => new Date(seconds * 1000).toLocaleTimeString([], { hour12: false });
    const number = (value) => String(Number(value.toPrecision(6)));

    // Alerts as shaded times, behind the line.
    function shade(plot, spans) {
        const { ctx, bbox } = plot;
        ctx.save();
        ctx.fillStyle = colour("--shade");
        for (const [from, to] of spans) {
            const clamp = (x) => Math.min(Math.max(x, bbox.left), bbox.left + bbox.width);
            const left = clamp(plot.valToPos(from / 1000, "x", true));
            const right = to < 0 ? bbox.left + bbox.width : clamp(plot.valToPos(to / 1000, "x", true));
            ctx.fillRect(left, bbox.top, Math.max(right - left, 1), bbox.height);
        }
        ctx.restore();
    }

    function columns(series) {
        return [series.points.map((point) => point[0] / 1000), series.points.map((point) => point[1]),
                series.points.map((point) => point[2] === 0 ? null : point[2])];
    }

    function draw(chart) {
        const axis = {
            stroke: () => colour("--soft"), grid: { stroke: () => colour("--line"), width: 1 },
            ticks: { show: false }, font: "11px system-ui, sans-serif",
        };
        chart.plot = new uPlot({
            width: Math.max(chart.place.clientWidth, 100), height: kHeight,
            legend: { show: false }, cursor: { show: false },
            axes: [{ ...axis, size: 24, space: 62, incrs: kSeconds, values: (plot, times) => times.map(clock) }, { ...axis, size: 48, space: 28 }],
            series: [{},
                     { stroke: () => colour("--accent"), width: 1.5, points: { show: false } },
                     { stroke: () => colour("--error"), width: 1, dash: [4, 3], points: { show: false } }],
            hooks: { drawClear: [(plot) => shade(plot, chart.series.spans)] },
        }, columns(chart.series), chart.place);
    }

    function add(series) {
        const figure = document.createElement("figure");
        const caption = document.createElement("figcaption");
        const name = document.createElement("span");
        const now = document.createElement("strong");
        const place = document.createElement("div");
        name.textContent = [series.source, series.type].filter(Boolean).join(" · ") || "(no name)";
        place.setAttribute("role", "img");
        caption.append(name, now);
        figure.append(caption, place);
        document.getElementById("charts").append(figure);
        const chart = { series, now, place, plot: null };
        all.set(series.key, chart);
        return chart;
    }

    function update(list) {
        for (const series of list) {
            if (series.points.length === 0) continue;
            const chart = all.get(series.key) || add(series);
            chart.series = series;
            const [, value, threshold] = series.points.at(-1);
            chart.now.textContent = `${number(value)} ${series.units}`;
            const limit = threshold === 0 ? "" : `, threshold ${number(threshold)}`;
            chart.place.setAttribute("aria-label", `${series.points.length} values, last ${number(value)} ` +
                `${series.units}${limit}, ${series.spans.length} alerts`);
            if (chart.plot) chart.plot.setData(columns(series));
            else draw(chart);
        }
        document.querySelector("#values .nothing").hidden = all.size > 0;
    }

    function clear() {
        for (const chart of all.values()) chart.plot.destroy();
        all.clear();
        document.getElementById("charts").replaceChildren();
    }

    function redraw() {
        for (const chart of all.values()) chart.plot.redraw(false, true);
    }

    addEventListener("resize", () => {
        for (const chart of all.values())
            chart.plot.setSize({ width: Math.max(chart.place.clientWidth, 100), height: kHeight });
    });
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
    return { update, clear, redraw };
})();

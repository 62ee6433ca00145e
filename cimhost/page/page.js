"use strict";
(() => {
  const byId = (id) => document.getElementById(id);
  const rows = Array.from(document.querySelectorAll("#functions tbody tr"));
  const texts = rows.map((row) => Array.from(row.cells, (cell) => cell.textContent).join(" ").toLowerCase());
  const filter = byId("filter");
  const again = byId("again");

  // While the machine is read, pages follow each other by themselves. Each hands on where its reader is.
  const kept = "cimhost.place";
  let focused = "";
  const handOn = () => {
    focused = document.activeElement?.id || focused;
    const [begin, end, direction] = [filter.selectionStart, filter.selectionEnd, filter.selectionDirection];
    try {
      sessionStorage.setItem(kept, JSON.stringify({ text: filter.value, focused, begin, end, direction }));
    } catch {}  // storage may be denied
  };
  const takeOver = () => {
    try {
      const place = JSON.parse(sessionStorage.getItem(kept));
      sessionStorage.removeItem(kept);
      if (!place) return;
      filter.value = place.text;
      focused = place.focused;
      byId(focused)?.focus({ preventScroll: true });
      if (focused === "filter") filter.setSelectionRange(place.begin, place.end, place.direction);
    } catch {}
  };
  addEventListener("pagehide", () => { if (again.disabled) handOn(); });

  const apply = () => {
    const parts = filter.value.toLowerCase().split(",").map((part) => part.trim());
    let shown = 0;
    rows.forEach((row, i) => {
      row.hidden = !parts.every((part) => texts[i].includes(part));
      if (!row.hidden) ++shown;
    });
    byId("shown").textContent = shown === rows.length ? `${shown} rows` : `${shown} of ${rows.length} rows`;
  };
  filter.addEventListener("input", apply);
  byId("filtering").hidden = false;
  takeOver();
  apply();

  // The clocks of both sides may differ, so the age goes on from what the server said.
  const age = byId("age");
  const loaded = performance.now();
  const update = () => {
    const seconds = Math.floor(Number(age.dataset.seconds) + (performance.now() - loaded) / 1000);
    const [count, unit] = seconds < 120 ? [seconds, "s"] : seconds < 7200 ? [seconds / 60, "min"] : [seconds / 3600, "h"];
    age.textContent = `${Math.floor(count)} ${unit}`;
  };
  if (age) setInterval(update, 1000);

  document.forms[0].addEventListener("submit", () => {
    handOn();  // a button without use loses the focus
    again.disabled = true;
    again.textContent = "Reading\u2026";
  });
})();

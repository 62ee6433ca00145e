"use strict";
(() => {
  const byId = (id) => document.getElementById(id);
  const rows = Array.from(document.querySelectorAll("#functions tbody tr"));
  const texts = rows.map((row) => Array.from(row.cells, (cell) => cell.textContent).join(" ").toLowerCase());
  const filter = byId("filter");
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
    byId("again").disabled = true;
    byId("again").textContent = "Reading\u2026";
  });
})();

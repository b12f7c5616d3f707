"use strict";
(function () {
  const texts = new Map();
  const blocks = Array.from(document.querySelectorAll("pre[data-first]"));

  function textOf(block) {
    if (!texts.has(block)) texts.set(block, block.textContent);
    return texts.get(block);
  }

  // Lines and their numbers are made when a file is opened: a page of all of them would be slow.
  function number(block) {
    if (block.dataset.numbered) return;
    const text = textOf(block);
    const lines = text.split("\n");
    if (lines[lines.length - 1] === "") lines.pop();
    const file = block.closest("details").id;
    const first = Number(block.dataset.first);
    const all = document.createDocumentFragment();
    lines.forEach(function (line, i) {
      const row = document.createElement("span");
      row.className = "l";
      row.dir = "auto";
      row.id = file + "L" + (first + i);
      const link = document.createElement("a");
      link.className = "n";
      link.href = "#" + row.id;
      link.textContent = String(first + i);
      link.setAttribute("aria-label", "Line " + (first + i));
      row.append(link, line);
      all.append(row);
    });
    block.replaceChildren(all);
    block.dataset.numbered = "1";
  }

  document.querySelectorAll("details[id]").forEach(function (file) {
    file.addEventListener("toggle", function () {
      if (file.open) file.querySelectorAll("pre[data-first]").forEach(number);
    });
  });

  function goTo(hash) {
    const match = /^#(f\d+)(L\d+)?$/.exec(hash);
    const file = match && document.getElementById(match[1]);
    if (!file) return;
    file.open = true;
    file.querySelectorAll("pre[data-first]").forEach(number);
    document.querySelectorAll(".here").forEach(function (line) { line.classList.remove("here"); });
    // A line of the part that was left out isn't on the page: the words that tell so are shown in its place.
    const line = match[2] && (document.getElementById(match[1] + match[2]) || file.querySelector("p.cut"));
    if (line) line.classList.add("here");
    if (line && line.matches("p.cut")) {
      line.dataset.told = line.dataset.told || line.textContent;
      line.textContent = "Line " + match[2].slice(1) + " isn't on this page. " + line.dataset.told;
    }
    (line || file).scrollIntoView({ block: "center" });
  }
  window.addEventListener("hashchange", function () { goTo(location.hash); });
  // A link to the line that is there already changes no hash.
  document.addEventListener("click", function (event) {
    const link = event.target.closest("a[href^='#f']");
    if (link && link.getAttribute("href") === location.hash) goTo(location.hash);
  });

  const input = document.getElementById("search");
  const status = document.getElementById("found");
  const hits = document.getElementById("hits");
  const most = 500;

  function lineHits(block, wanted, rows) {
    const text = textOf(block);
    const low = text.toLowerCase();
    let count = 0;
    let line = Number(block.dataset.first);
    let counted = 0;
    let at = low.indexOf(wanted);
    // A few letters change their length in lower case; the place is looked at again in the text itself.
    const same = low.length === text.length;
    while (at >= 0) {
      const end = low.indexOf("\n", at) < 0 ? low.length : low.indexOf("\n", at);
      ++count;
      if (rows.length < most) {
        for (let i = low.indexOf("\n", counted); i >= 0 && i < at; i = low.indexOf("\n", i + 1)) ++line;
        counted = at;
        const start = low.lastIndexOf("\n", at - 1) + 1;
        const source = same ? text : low;
        rows.push({ block: block, line: line, before: source.slice(Math.max(start, at - 80), at),
          hit: source.slice(at, at + wanted.length), after: source.slice(at + wanted.length, Math.min(end, at + 160)) });
      }
      at = low.indexOf(wanted, end);
    }
    return count;
  }

  function show(row) {
    const item = document.createElement("li");
    const file = row.block.closest("details");
    const link = document.createElement("a");
    link.href = "#" + file.id + "L" + row.line;
    link.textContent = file.dataset.name + ":" + row.line;
    const code = document.createElement("code");
    const mark = document.createElement("mark");
    mark.textContent = row.hit;
    code.append(row.before, mark, row.after);
    item.append(link, " ", code);
    return item;
  }

  function search() {
    const wanted = input.value.toLowerCase();
    hits.replaceChildren();
    if (wanted.length < 2) {
      status.textContent = wanted === "" ? "" : "Two letters at least.";
      return;
    }
    const rows = [];
    let count = 0;
    blocks.forEach(function (block) { count += lineHits(block, wanted, rows); });
    rows.forEach(function (row) { hits.append(show(row)); });
    status.textContent = count + (count === 1 ? " line" : " lines") + (count > rows.length ? ", the first " + most : "");
  }

  let timer = 0;
  if (input) {
    input.addEventListener("input", function () {
      clearTimeout(timer);
      timer = setTimeout(search, 150);
    });
    document.getElementById("search-form").hidden = false;
  }
  goTo(location.hash);
})();

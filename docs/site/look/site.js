// The menu of narrow screens, and the search: the index is a script, so that it loads from files as well as from a server.
"use strict";

const root = document.body.dataset.root;
const menu = document.getElementById("menu");
const navigation = document.getElementById("navigation");
const field = document.getElementById("search");
const found = document.getElementById("found");

function showMenu(open) {
  navigation.classList.toggle("open", open);
  menu.setAttribute("aria-expanded", String(open));
}
menu.addEventListener("click", () => showMenu(menu.getAttribute("aria-expanded") !== "true"));
const current = navigation.querySelector("[aria-current]");
if (current && current.offsetTop > navigation.clientHeight * 0.8) navigation.scrollTop = current.offsetTop - 120;

let indexAsked = null;
function index() {
  indexAsked ??= new Promise((resolve, reject) => {
    const script = document.createElement("script");
    script.src = root + "search_index.js";
    script.onload = () => resolve(window.searchIndex.map(([url, title, page, text]) =>
      ({ url, title, page, text, lowTitle: title.toLowerCase(), lowPage: page.toLowerCase(), lowText: text.toLowerCase() })));
    script.onerror = reject;
    document.head.append(script);
  });
  return indexAsked;
}

// How well an entry fits a word; 0 where it does not. Names in full come first, that of the reference before headings;
// then their beginnings.
function fit(entry, word) {
  const last = entry.lowTitle.split("::").pop();
  if (entry.lowTitle === word) return entry.page.startsWith("Reference, ") ? 150 : 120;
  if (last === word) return 70;
  if (entry.lowTitle.startsWith(word)) return 50;
  if (entry.lowTitle.includes(word)) return 30;
  if (entry.lowPage.includes(word)) return 8;
  return entry.lowText.includes(word) ? 3 : 0;
}

function search(entries, words) {
  const hits = [];
  for (const entry of entries) {
    const fits = words.map((word) => fit(entry, word));
    if (fits.every((f) => f > 0)) hits.push({ entry, score: fits.reduce((a, b) => a + b) - entry.title.length / 100 });
  }
  return hits.sort((a, b) => b.score - a.score).slice(0, 12).map((hit) => hit.entry);
}

function excerpt(entry, word) {
  const at = Math.max(0, entry.lowText.indexOf(word) - 30);
  return (at > 0 ? "… " : "") + entry.text.slice(at, at + 110);
}

function show(entries, words) {
  found.replaceChildren(...entries.map((entry, place) => {
    const item = document.createElement("li"), link = document.createElement("a");
    const title = document.createElement("strong"), where = document.createElement("small"), text = document.createElement("small");
    item.id = "found-" + place;
    item.setAttribute("role", "option");
    item.setAttribute("aria-selected", String(place === 0));
    title.textContent = entry.title;
    where.textContent = entry.page;
    text.textContent = excerpt(entry, words[0]);
    link.href = root + entry.url;
    link.tabIndex = -1;
    link.append(title, where, text);
    item.append(link);
    return item;
  }));
  if (entries.length === 0) {
    const item = document.createElement("li");
    item.className = "none";
    item.textContent = "Nothing was found.";
    found.append(item);
  }
  open(true);
}

function open(shown) {
  found.hidden = !shown;
  field.setAttribute("aria-expanded", String(shown));
  const chosen = shown && found.querySelector("[aria-selected=true]");
  if (chosen) field.setAttribute("aria-activedescendant", chosen.id);
  else field.removeAttribute("aria-activedescendant");
}

function choose(step) {
  const items = [...found.querySelectorAll("[role=option]")];
  if (items.length === 0) return;
  const at = items.findIndex((item) => item.getAttribute("aria-selected") === "true");
  const to = (at + step + items.length) % items.length;
  items.forEach((item, place) => item.setAttribute("aria-selected", String(place === to)));
  items[to].scrollIntoView({ block: "nearest" });
  open(true);
}

field.addEventListener("focus", () => index());
field.addEventListener("input", async () => {
  const asked = field.value;
  const words = asked.toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return open(false);
  const entries = await index();
  if (field.value === asked) show(search(entries, words), words);
});
field.addEventListener("keydown", (event) => {
  if (event.key === "ArrowDown" || event.key === "ArrowUp") {
    choose(event.key === "ArrowDown" ? 1 : -1);
    event.preventDefault();
  } else if (event.key === "Enter" && !found.hidden) {
    found.querySelector("[aria-selected=true] a")?.click();
  }
});
document.addEventListener("keydown", (event) => {
  if (event.key === "Escape") {
    if (menu.getAttribute("aria-expanded") === "true") menu.focus();
    showMenu(false);
    open(false);
  } else if (event.key === "/" && !/^(INPUT|TEXTAREA)$/.test(document.activeElement.tagName)) {
    field.focus();
    event.preventDefault();
  }
});
document.addEventListener("click", (event) => {
  if (!event.target.closest(".search")) open(false);
});

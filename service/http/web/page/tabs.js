// SPDX-License-Identifier: MIT
// Tabs as the ARIA practices have them: arrows, Home and End move and select, one stop for the Tab key.

// Calls opened(name) when another tab is shown. Returns a function that shows one by its name.
export function startTabs(opened) {
  const tabs = [...document.querySelectorAll('[role=tab]')];
  const nameOf = (tab) => tab.id.replace('tab-', '');

  function show(tab) {
    for (const other of tabs) {
      const selected = other === tab;
      other.setAttribute('aria-selected', String(selected));
      other.tabIndex = selected ? 0 : -1;
      document.getElementById(other.getAttribute('aria-controls')).hidden = !selected;
    }
    opened(nameOf(tab));
  }

  tabs.forEach((tab, at) => {
    tab.addEventListener('click', () => show(tab));
    tab.addEventListener('keydown', (event) => {
      const target = {ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: tabs.length - 1}[event.key];
      if (target === undefined) return;
      event.preventDefault();
      const next = tabs.at(target % tabs.length);
      next.focus();
      show(next);
    });
  });
  return (name) => show(tabs.find((tab) => nameOf(tab) === name) ?? tabs[0]);
}

// SPDX-License-Identifier: MIT
// Light or dark: the system's choice until the person makes another, which this browser remembers. A plain script in
// the head, so that the page is never seen in the wrong colors.
(() => {
  const root = document.documentElement;
  const dark = matchMedia('(prefers-color-scheme: dark)');
  const remembered = () => {
    try {
      return localStorage.getItem('tovkit-theme');
    } catch {
      return null;  // storage is forbidden
    }
  };
  const isDark = () => (root.dataset.theme ?? (dark.matches ? 'dark' : 'light')) === 'dark';

  const chosen = remembered();
  if (chosen === 'dark' || chosen === 'light') root.dataset.theme = chosen;

  document.addEventListener('DOMContentLoaded', () => {
    const button = document.getElementById('theme');
    const show = () => button.setAttribute('aria-pressed', String(isDark()));
    button.addEventListener('click', () => {
      root.dataset.theme = isDark() ? 'light' : 'dark';
      try {
        localStorage.setItem('tovkit-theme', root.dataset.theme);
      } catch {
        // The choice holds until the page is left.
      }
      show();
    });
    dark.addEventListener('change', show);
    show();
  });
})();

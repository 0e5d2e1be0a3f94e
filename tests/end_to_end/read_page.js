// What the page shows, in the state in which it is printed.
dispatchEvent(new Event('beforeprint'));
const all = (selector, read) => [...document.querySelectorAll(selector)].map(read);
const rows = (table) => [...table.tBodies[0].rows].map((row) => [...row.cells].map((cell) => cell.textContent));
return {
  all: rows(document.getElementById('table')), about: document.getElementById('about-line').textContent,
  heads: all('thead th', (head) => [head.textContent, head.ariaSort]),
  links: all('tbody tr:not([hidden]) a', (link) => document.querySelector(link.hash).querySelector('h3').textContent),
  bare: all('body *', (e) => e.localName !== 'bdi' &&
      [...e.childNodes].some((node) => node.nodeType === 3 && node.data.includes('\u202e'))).filter(Boolean),
  elements: all('main *', (e) => e.localName), hostile: typeof hostile, seen: document.body.innerText,
  overflow: document.documentElement.scrollWidth - innerWidth,
  tracks: all('.track', (section) => ({
    headline: section.querySelector('.bad')?.textContent ?? '', hasPicture: section.querySelector('img') !== null,
    rows: [...section.querySelectorAll('table')].flatMap(rows)}))};

// Draws the page's diagrams. The theme would load its own copy of mermaid from another host.
mermaid.initialize({ startOnLoad: false });
window.addEventListener('load', () => mermaid.run({ querySelector: '.diagram' }));

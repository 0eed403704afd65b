// What the browser keeps for the page between two visits. Where it keeps nothing, nothing is remembered, and nothing fails.

export function remembered(name) {
  try {
    return localStorage.getItem(name);
  } catch {
    return null;
  }
}

export function remember(name, value) {
  try {
    localStorage.setItem(name, value);
  } catch {
    // It is asked for again next time.
  }
}

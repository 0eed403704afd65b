// What the browser keeps for the page between two visits, or, in its session storage, for this one tab. Where it keeps
// nothing, nothing is remembered, and nothing fails.

export function remembered(name, storage = 'localStorage') {
  try {
    return globalThis[storage].getItem(name);
  } catch {
    return null;
  }
}

export function remember(name, value, storage = 'localStorage') {
  try {
    globalThis[storage].setItem(name, value);
  } catch {
    // It is asked for again next time.
  }
}

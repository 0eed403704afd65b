// What arrives of a program, whole, with what differs from run to run put out of sight: ids are numbered in the order in
// which they first appear, times and the machine's own names are only checked for their form.

const IDS = new Set(['id', 'u', 's', 'v']);
const TIMES = new Set(['timestamp', 'ts', 'st']);
const MACHINE = new Set(['o', 'vid', 'phoneModel', 'iosVendorId']);

export function steadied(records) {
  const numbers = new Map();
  const numberOf = (id) => numbers.get(id) ?? (numbers.set(id, `#${numbers.size + 1}`), numbers.get(id));
  const steady = (value, key) => {
    if (IDS.has(key)) return /^\d{16}$/.test(value) ? numberOf(value) : value;
    if (TIMES.has(key)) return /^\d{13}$/.test(value) ? 'time' : value;
    if (MACHINE.has(key)) return value ? 'machine' : value;
    if (Array.isArray(value)) return value.map((item) => steady(item));
    if (typeof value !== 'object' || value === null) return value;
    return Object.fromEntries(Object.entries(value).map(([name, inner]) => [name, steady(inner, name)]));
  };
  return records.map(({ valid, problems, named, message }) => (valid ? steady(message ?? named) : { problems }));
}

/** The pageviews and messages that are expected of one start of a program. */
export class Expected {
  #name;
  #version;

  constructor(name, version = '') {
    this.#name = name;
    this.#version = version;
  }

  /** `visibility` is 0 before the program became active. */
  pageview(v, h, t, visibility = '2') {
    const program = { a: '11', s: '#1', b: 'ios', tv: '3.0', lv: '9.0.0', u: '#2', m: this.#name, p: this.#version, g: '' };
    const machine = { o: 'machine', f: 'iOS 17.0', vid: 'machine', z: visibility, ts: 'time' };
    return { ...program, ...machine, v, h, t, d: '', y: '', st: 'time' };
  }

  /**
   * A touch on the last of `ancestry`, of which each is "Class", or "Class#objectName"; `on` is a pageview. What is told
   * as the text is the label, too, unless another is given.
   */
  touch(id, on, ancestry, { text = '', label = text, ...told } = {}) {
    const views = ancestry.split(' > ').map((view) => {
      const [name, identifier] = view.split('#');
      return identifier ? { class: name, accessibilityIdentifier: identifier } : { class: name };
    });
    const target = views.at(-1);
    if (label) target.accessibilityLabel = label;
    const name = target.accessibilityIdentifier;
    const variable = name && !name.startsWith('qt_') ? { targetIvar: name } : {}; // uic names the member so
    const identified = name ? { targetA11yId: name, ...variable } : {};
    const labelled = label ? { targetA11yLabel: label } : {};
    const touchEvent = { targetView: target.class, targetText: text, type: 'touch', ...labelled, ...identified, ...told };
    return {
      id,
      envId: '11',
      user: { id: '#2' },
      timestamp: 'time',
      applicationInfo: { appName: this.#name, appVersion: this.#version, libraryVersion: '9.0.0' },
      deviceInfo: { carrier: '', phoneModel: 'machine', platform: 'iOS 17.0', iosVendorId: 'machine' },
      pageviewInfo: { viewController: on.h, title: on.t, screenA11yId: '', screenA11yLabel: '', timestamp: 'time', id: on.v },
      sessionInfo: { id: '#1', timestamp: 'time' },
      event: { touchEvent: { ...touchEvent, viewAncestry: { ancestry: views } }, appVisibilityState: 2 },
    };
  }
}

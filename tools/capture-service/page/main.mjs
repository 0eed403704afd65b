// Puts the live page together.

import { Address } from './address.mjs';
import { ConnectDialog } from './connect.mjs';
import { Connection } from './connection.mjs';
import { Detail } from './detail.mjs';
import { Devices } from './devices.mjs';
import { find } from './dom.mjs';
import { Stage } from './stage.mjs';
import { StatusBar } from './status-bar.mjs';
import { Store } from './store.mjs';
import { Timeline } from './timeline.mjs';

const store = new Store();
const connection = new Connection(store);

new ConnectDialog(find('connect-dialog'), find('connect'), store);
new StatusBar(store);
const address = new Address(store);
new Devices(find('devices'), store, connection);
new Stage(find('stage'), store, connection);
const timeline = new Timeline(find('timeline'), store, { onOpen: () => openEvent() });
new Detail(find('detail'), store, { onClose: () => history.back() });

store.subscribe(() => {
  const view = store.events.length > 0 || store.hasCleared ? 'events' : 'stage';
  find('connect').hidden = view === 'stage'; // which says how by itself
  if (find('main').dataset.view === view) return;
  const hadFocus = find('main').contains(document.activeElement);
  find('main').dataset.view = view;
  if (hadFocus) view === 'events' ? timeline.focus() : find('stage').focus();
});

// Where there is room for one pane only, the event is a page of its own, and the browser's way back leads to the list.
const isNarrow = matchMedia('(max-width: 759px)');

function openEvent() {
  if (!isNarrow.matches || find('main').dataset.opened) return;
  address.flush(); // the way back leads to the list as it is now
  history.pushState({ opened: true }, '');
  showOpened();
}

function showOpened() {
  const opened = history.state?.opened === true;
  if (opened) find('main').dataset.opened = 'true';
  else delete find('main').dataset.opened;
  if (opened) find('back').focus();
  else timeline.focus();
}
addEventListener('popstate', () => find('main').dataset.opened && showOpened());
if (history.state?.opened) find('main').dataset.opened = 'true';
else if (/[#&]event=/.test(location.hash)) openEvent(); // somebody sent the address

const typing = (target) => target.matches('input, textarea, select');

document.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey || document.querySelector('dialog[open]')) return;
  if (store.events.length === 0) return;
  if (event.key === '/' && !typing(event.target)) {
    event.preventDefault();
    timeline.focusSearch();
  } else if (event.key === 'Escape' && find('main').dataset.opened) {
    history.back();
  } else if (event.key === 'Escape' && !typing(event.target)) {
    timeline.toNewest();
  } else if (event.target === document.body) {
    timeline.handleKey(event); // so that arrow keys work before anything was clicked
  }
});

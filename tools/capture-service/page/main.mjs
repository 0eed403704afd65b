// Puts the page together.

import { Connection } from './connection.mjs';
import { ConnectDialog } from './connect-dialog.mjs';
import { Detail } from './detail.mjs';
import { Devices } from './devices.mjs';
import { find } from './dom.mjs';
import { Stage } from './stage.mjs';
import { StatusBar } from './status-bar.mjs';
import { Store } from './store.mjs';
import { Timeline } from './timeline.mjs';

const store = new Store();
const connection = new Connection(store);

const dialog = new ConnectDialog(find('connect-dialog'), store);
new StatusBar(store);
new Devices(find('devices'), store, connection, () => dialog.open());
new Stage(find('stage'), store, connection);
const timeline = new Timeline(find('timeline'), store, connection);
new Detail(find('detail'), store);

store.subscribe(() => {
  find('main').dataset.view = store.events.length > 0 ? 'events' : 'stage';
});

const typing = (target) => target.matches('input, textarea, select');

document.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey || find('connect-dialog').open) return;
  if (store.events.length === 0) return;
  if (event.key === '/' && !typing(event.target)) {
    event.preventDefault();
    timeline.focusSearch();
  } else if (event.key === 'Escape' && !typing(event.target)) {
    timeline.toNewest();
  } else if (event.target === document.body) {
    timeline.handleKey(event); // so that arrow keys work before anything was clicked
  }
});

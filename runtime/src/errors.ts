// Kept apart from the modules that load heavy libraries, so that catching them costs nothing.

// The browser itself is missing or unusable: the run cannot go on.
export class BrowserError extends Error {}
// One page would not load: the agent may try something else.
export class NavigationError extends Error {}
// A tool that cannot work until the user sets something up: the run ends and says what to set up.
export class SetupError extends Error {}
// An address that is not on the web: the run ends instead of letting a skill or a page steer the
// browser to local files, scripts or the browser's own pages.
export class RefusedError extends Error {}
// A host that holds a key or token misbehaved: it redirected elsewhere, answered without end, or not at all.
export class HostError extends Error {}

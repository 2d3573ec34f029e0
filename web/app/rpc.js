// JSON-RPC 2.0 over one WebSocket: the only module that talks to the plug-in. Reconnects automatically.
// Read next: service.js for the operations that the pages use.

/**
 * @typedef {object} LogEntry
 * @property {number} time  when the request was sent, in milliseconds since 1970
 * @property {string} method
 * @property {number | null} status  null while the request is outstanding
 * @property {number} milliseconds
 */

/** The status of a request that failed, as docs/statuses.md lists it. */
export class StatusError extends Error {
  /**
   * @param {number} status
   * @param {string} method
   */
  constructor(status, method) {
    super(`${method} ended with status ${status}`);
    this.status = status;
    this.method = method;
  }
}

/** The connection to the program that serves this page is lost. */
export class ConnectionError extends Error {}

/** A request that the program refused before it reached the plug-in. */
export class RequestError extends Error {}

/**
 * @typedef {object} Pending
 * @property {string} method
 * @property {string} request  as JSON
 * @property {(results: any) => void} resolve
 * @property {(error: Error) => void} reject
 * @property {number | null} reference  of the accepted request
 * @property {boolean} cancelled
 * @property {LogEntry} entry
 */

const kLogged = 60;
const kFirstRetry = 400;
const kLastRetry = 5000;

/** Events: "open" and "closed". */
export class Rpc extends EventTarget {
  /** @param {string} url of the WebSocket */
  constructor(url) {
    super();
    this.url = url;
    /** @type {WebSocket | null} */
    this.socket = null;
    this.open = false;
    this.nextId = 1;
    this.retry = kFirstRetry;
    this.timer = 0;
    /** @type {Map<number, Pending>} */
    this.pending = new Map();
    /** The last requests, the latest first. @type {LogEntry[]} */
    this.log = [];
    this.connect();
  }

  connect() {
    clearTimeout(this.timer);
    const socket = new WebSocket(this.url);
    this.socket = socket;
    socket.onopen = () => {
      this.open = true;
      this.retry = kFirstRetry;
      for (const one of this.pending.values()) socket.send(one.request);
      this.dispatchEvent(new Event("open"));
    };
    socket.onmessage = (event) => this.receive(event.data);
    socket.onclose = () => this.closed();
  }

  closed() {
    this.open = false;
    for (const one of this.pending.values()) {
      this.finish(one, null);
      one.reject(new ConnectionError("the connection to corvane web is lost"));
    }
    this.pending.clear();
    this.dispatchEvent(new Event("closed"));
    this.timer = window.setTimeout(() => this.connect(), this.retry);
    this.retry = Math.min(this.retry * 1.6, kLastRetry);
  }

  /**
   * Calls an operation by its name, with its own arguments in order.
   * @param {string} method
   * @param {unknown[]} params
   * @param {AbortSignal} [signal]  cancels the request
   * @returns {Promise<any>} the operation's results; rejected with StatusError, ConnectionError, RequestError or an
   *   AbortError
   */
  call(method, params, signal) {
    return new Promise((resolve, reject) => {
      if (signal?.aborted) return reject(aborted());
      const id = this.nextId++;
      const entry = { time: Date.now(), method, status: /** @type {number | null} */ (null), milliseconds: 0 };
      this.log.unshift(entry);
      this.log.length = Math.min(this.log.length, kLogged);
      const request = JSON.stringify({ jsonrpc: "2.0", id, method, params });
      /** @type {Pending} */
      const one = { method, request, resolve, reject, reference: null, cancelled: false, entry };
      this.pending.set(id, one);
      signal?.addEventListener("abort", () => {
        if (!this.pending.has(id) || one.cancelled) return;
        one.cancelled = true;
        reject(aborted());
        // Until it is accepted there is no reference to cancel by.
        if (one.reference !== null) this.cancel(one.reference);
      });
      if (this.open) this.socket?.send(request);
    });
  }

  /** @param {number} reference */
  cancel(reference) {
    if (this.open)
      this.socket?.send(
        JSON.stringify({ jsonrpc: "2.0", id: `cancel ${reference}`, method: "cancel", params: [reference] }),
      );
  }

  /** @param {string} body  a message as JSON */
  receive(body) {
    const message = JSON.parse(body);
    if (message.method === "accepted") {
      const one = this.pending.get(message.params.id);
      if (!one) return;
      one.reference = message.params.reference;
      if (one.cancelled && one.reference) this.cancel(one.reference);
      return;
    }
    const one = this.pending.get(message.id);
    if (!one) return;
    this.pending.delete(message.id);
    if (message.error) {
      this.finish(one, message.error.code);
      one.reject(new RequestError(message.error.message));
      return;
    }
    const result = message.result;
    const status = typeof result.return === "number" && result.return < 0 ? result.return : (result.status ?? 0);
    this.finish(one, status);
    if (status !== 0) one.reject(new StatusError(status, one.method));
    else one.resolve(result.results ?? result);
  }

  /**
   * @param {Pending} one
   * @param {number | null} status
   */
  finish(one, status) {
    one.entry.status = status;
    one.entry.milliseconds = Date.now() - one.entry.time;
  }
}

function aborted() {
  return new DOMException("the request was cancelled", "AbortError");
}

/** @param {unknown} error */
export function isAbort(error) {
  return error instanceof DOMException && error.name === "AbortError";
}

// The WebSocket to the simulator. It is opened again when the simulator is back.

const RETRY_MS = 1500;

export class Connection {
  #socket = null;
  #ended = false;
  #nextId = 1;
  #waiting = new Map(); // id of an order -> the function that takes its error text

  // handlers: open(hello), update(message), close({ended})
  constructor(handlers) {
    this.handlers = handlers;
    this.#connect();
  }

  // Orders something; the promise gives an error text, or an empty one. Fields as the simulator takes them.
  order(verb, fields) {
    if (this.#socket?.readyState !== WebSocket.OPEN) {
      return Promise.resolve("not connected to the simulator");
    }
    const id = this.#nextId++;
    this.#send({ do: verb, id, ...fields });
    return new Promise((resolve) => this.#waiting.set(id, resolve));
  }

  // The page has drawn this update: the simulator sends another.
  drawn(update) {
    if (this.#socket?.readyState === WebSocket.OPEN) {
      this.#send({ do: "drawn", update });
    }
  }

  #send(message) {
    this.#socket.send(JSON.stringify(message));
  }

  #connect() {
    this.#socket = new WebSocket(`ws://${location.host}/panel`);
    this.#socket.onmessage = (event) => this.#take(JSON.parse(event.data));
    this.#socket.onclose = () => this.#closed();
  }

  #take(message) {
    if (message.hello) {
      this.#ended = false;
      this.handlers.open(message.hello);
      return;
    }
    for (const [id, error] of message.results ?? []) {
      this.#waiting.get(id)?.(error);
      this.#waiting.delete(id);
    }
    this.#ended = message.state.ended;
    this.handlers.update(message);
  }

  #closed() {
    for (const resolve of this.#waiting.values()) {
      resolve("the connection was lost");
    }
    this.#waiting.clear();
    this.handlers.close({ ended: this.#ended });
    setTimeout(() => this.#connect(), RETRY_MS);
  }
}

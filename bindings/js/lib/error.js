export const ErrorCode = Object.freeze({
  memory: 2,
  corrupt: 3,
  argument: 5,
  cancelled: 6,
  tile: 9,
  resolution: 10,
  internal: 27,
});

export class WbxError extends Error {
  constructor(code, text) {
    super(text);
    this.name = 'WbxError';
    this.code = code;
  }
}

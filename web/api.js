// The server's API: every request carries the run's token from the page's address.
const token = new URLSearchParams(location.search).get('token') || '';

async function request(method, path, body) {
  const init = { method, headers: { 'X-Wkcache-Token': token } };
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  return fetch(path, init);
}

// The JSON answer, or an Error carrying the status and the server's message.
export async function call(method, path, body) {
  const response = await request(method, path, body);
  if (response.status === 204) return null;
  const data = await response.json().catch(() => ({}));
  if (!response.ok) {
    const error = new Error(data.error || response.statusText);
    error.status = response.status;
    throw error;
  }
  return data;
}

export async function frame(time, topology, overlay) {
  const response = await request('GET', `/api/frame?time=${time}&topology=${topology}&overlay=${overlay}`);
  if (!response.ok) throw new Error(`frame ${time}: ${response.status}`);
  return response.arrayBuffer();
}

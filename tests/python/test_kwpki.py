"""The Python package as it is installed, over the loopback host."""
import asyncio
import concurrent.futures
import gc
import os
import types
import weakref
from pathlib import Path

import pytest

import kwpki
import kwpki.loopback

EXAMPLES = Path(os.environ["KWPKI_EXAMPLES"])
HOST = "www.example.com"


@pytest.fixture
def agent():
    with kwpki.loopback.Loopback() as opened:
        yield opened


def test_certificates():
    leaf = kwpki.Certificate.from_file(EXAMPLES / "v3-rich.der")
    assert leaf.subject == "C=FI, L=Helsinki, O=Example Oy, OU=Web, CN=www.example.com"
    assert leaf.serial == 0x0123456789ABCDEF0123456789ABCDEF01234567
    assert leaf.der == (EXAMPLES / "v3-rich.der").read_bytes()
    assert leaf.subject_der in leaf.der and b"rsa" in leaf.key_blob
    assert kwpki.Certificate.from_pem((EXAMPLES / "ca-root.pem").read_text()).serial == 1


@pytest.mark.parametrize("make, name, code", [
    (lambda: kwpki.Certificate.from_der(b"0"), "KWPKI_FAILED", 0x84090005),
    (lambda: kwpki.Certificate().subject, "KWPKI_FAILED", 0x84090005),
    (lambda: kwpki.Crl.from_pem("-a\n?\n-b"), "KWPKI_FILE_UNREADABLE", 0x84090011),
    (lambda: kwpki.SearchKey().dn("no name"), "KWPKI_FAILED", 0x84090005),
    (lambda: kwpki.process_reply(b""), "KWPKI_FAILED", 0x84090005),
])
def test_errors_have_name_code_and_text(make, name, code):
    with pytest.raises(kwpki.KwPkiError) as caught:
        make()
    assert (caught.value.name, caught.value.code) == (name, code)
    assert caught.value.text in str(caught.value) and "agent" not in caught.value.text


@pytest.mark.parametrize("make", [
    lambda: kwpki.Search(rule=2**32),  # ctypes would make 0 of it
    lambda: kwpki.SearchKey().dn("CN=a\0b"),
    lambda: kwpki.SearchKey().ip("192.0.2"),
    lambda: kwpki.remove_request(["a"] * 5, None),
])
def test_what_c_could_not_take(make):
    with pytest.raises(ValueError):
        make()


def test_await(agent):
    async def ask():
        leaf = kwpki.Certificate.from_file(EXAMPLES / "v3-rich.der")
        issuer = kwpki.Certificate.from_file(EXAMPLES / "ca-issuing.pem")
        await asyncio.gather(leaf.add(agent), issuer.add(agent))
        await kwpki.Crl.from_file(EXAMPLES / "crl-v2.pem").add(agent)
        await kwpki.request_certificate(b"wanted", ["me", None], agent, further="more")
        await kwpki.remove_request(["me"], agent)
        with pytest.raises(kwpki.ServiceError) as caught:
            await kwpki.remove_request(["me"], agent)
        assert caught.value.code == 4
        keys = kwpki.SearchKey().dns(HOST).public_key_of(leaf).dn_der(leaf.subject_der)
        start = kwpki.Search(keys, times=(1798761600, 1798761600))
        end = kwpki.Search(kwpki.SearchKey().dn(issuer.subject), path_length=0, rule=2)
        path = await start.find_path(end, agent)
        assert [cert.subject for cert in path] == [leaf.subject, issuer.subject]
        assert await kwpki.ca_names(agent) == [issuer.subject]
        assert b"certificates=2" in await kwpki.service_status(agent)
        last = (await start.find(agent))[-1]
        gc.collect()
        assert last.subject == leaf.subject  # the list is gone, its certificate is not

    asyncio.run(ask())


def test_callback_is_freed_once_it_was_called_or_could_not_be(agent):
    def send(to):
        seen = []
        callback = lambda *reply, seen=seen: seen.append(reply)  # noqa: E731
        held = weakref.ref(callback)
        try:
            kwpki.service_status(to).send(callback)
        except kwpki.KwPkiError as error:
            assert error.name == "KWPKI_NOT_POSTED"
        return seen, held

    refused, held = send(None)
    assert not refused and held() is None
    answered, held = send(agent)
    assert held() is not None
    with concurrent.futures.ThreadPoolExecutor() as other:
        other.submit(agent.pump)
    assert [status for status, _ in answered] == [0] and held() is None


def test_given_up(agent):
    silent = types.SimpleNamespace(handle=agent.handle, pump=lambda: None)

    async def ask():
        task = asyncio.ensure_future(kwpki.Search().find(silent))
        await asyncio.sleep(0)  # it is sent
        task.cancel()
        with pytest.raises(asyncio.CancelledError):
            await task
        assert agent.pump() == 1  # the reply finds nobody

    asyncio.run(ask())

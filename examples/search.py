"""search.py HOST EXAMPLES adds two certificates to a store in memory, asks for those of a DNS name and
prints what is found. HOST is the folder of kwpki-loopback's libraries, lib/kwpki where it is
installed; EXAMPLES is this folder."""
import asyncio
import sys
from pathlib import Path

import kwpki
from kwpki.loopback import Loopback


async def main(host: str, examples: Path) -> int:
    with Loopback(folder=host) as agent:
        for name in ("ca-issuing.pem", "v3-rich.der"):
            await kwpki.Certificate.from_file(examples / name).add(agent)
        search = kwpki.Search(kwpki.SearchKey().dns("www.example.com"))
        found = await search.find(agent)
        for number, cert in enumerate(found, 1):
            print(f"{number}. {cert.subject}\n   serial {cert.serial}\n"
                  f"   key of {len(cert.key_blob)} bytes")
        return 0 if found else 1


sys.exit(asyncio.run(main(sys.argv[1], Path(sys.argv[2]))))

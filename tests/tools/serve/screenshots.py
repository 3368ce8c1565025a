# SPDX-License-Identifier: Apache-2.0
"""Takes the pictures of docs/page.md: screenshots.py FOLDER_OF_STORES FOLDER_OF_PICTURES"""

import shutil
import subprocess
import sys

from browser import Page, driver
from serving import Served, printed

STORES, PICTURES = sys.argv[1:]
BIRDS = f"file:{STORES}/birdstrikes.db"
PLOTS = f"file:{STORES}/barley.db"
LARGE = "where=%22Wildlife%20Size%22%3DLarge"


def two():
    return ",".join(one["id"] for one in printed("list", "--where", "site=Waseca and variety=Trebi", store=PLOTS))


def main():
    views = [
        ("page-1440-light", BIRDS, 1440, 900, False, LARGE),
        ("page-1440-dark", PLOTS, 1440, 900, True, "where=yield%3E30&plot=bars&y=yield&colour=variety&by=site"),
        ("page-1024-light", PLOTS, 1024, 760, False, "colour=site"),
        ("page-1024-dark", BIRDS, 1024, 760, True, "sort=Cost%20Total%20%24%3Adesc"),
        ("page-400-light", PLOTS, 400, 800, False, "columns=site,yield"),
        ("page-400-dark", BIRDS, 400, 800, True, "columns=Origin%20State&" + LARGE),
        ("page-compare", PLOTS, 1024, 480, False, f"rows={two()}&compare=1"),
    ]
    for name, store, width, height, is_dark, query in views:
        with Served(store) as served:
            browser = driver(width, height, is_dark)
            try:
                Page(browser, served).open(query)
                if name == "page-1440-dark":
                    browser.execute_script("document.getElementById('plot').scrollIntoView({block: 'center'})")
                picture = f"{PICTURES}/{name}.png"
                browser.save_screenshot(picture)
            finally:
                browser.quit()
        if shutil.which("pngquant"):
            subprocess.run(["pngquant", "--force", "--output", picture, "48", picture], check=True)


if __name__ == "__main__":
    main()

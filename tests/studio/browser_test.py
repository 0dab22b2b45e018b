#!/usr/bin/python3
"""The studio page in headless Chromium, used as an artist would: search a class, pick it, move a
slider and see a different frame, type a bad value and see the server's message beside the
control, export the look, render the export with kestrel-render and get the same image, import
it again, and compare two looks with the A/B wipe. Screenshots of every step go to --shots; on
a failure the last one shows the page as it was. Exits 77 (skipped) when Chromium, its driver
or Selenium is missing."""
import argparse
import base64
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

SKIP = 77
CHROMIUM = shutil.which('chromium') or '/usr/bin/chromium'
DRIVER = shutil.which('chromedriver') or '/usr/bin/chromedriver'
# Chromium as root in a container: no sandbox, no GPU, nothing that reaches the network.
CHROMIUM_FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
                  '--disable-background-networking', '--disable-component-update', '--disable-sync',
                  '--no-proxy-server', '--window-size=1500,1000']
WAIT_SECONDS = 90  # generous: a busy machine or a sanitizer build renders slowly


def skip_unless_available():
    missing = [name for name, path in (('chromium', CHROMIUM), ('chromium-driver', DRIVER)) if not os.path.exists(path)]
    try:
        import selenium  # noqa: F401
    except ImportError:
        missing.append('python3-selenium')
    if missing:
        print('SKIPPED: the browser test needs ' + ', '.join(missing) + ' (scripts/install-dependencies installs them)')
        sys.exit(SKIP)


class Page:
    def __init__(self, url, shots, downloads):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        self.profile = tempfile.mkdtemp(prefix='studio-chromium-')
        for flag in CHROMIUM_FLAGS + ['--user-data-dir=' + self.profile]:
            options.add_argument(flag)
        # The exported scene is downloaded into the test's scratch folder, not the user's.
        options.add_experimental_option('prefs', {'download.default_directory': downloads})
        self.driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.driver.get(url)
        self.shots = shots
        self.step = 0

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def shot(self, name):
        self.step += 1
        path = os.path.join(self.shots, '%02d-%s.png' % (self.step, name))
        self.driver.save_screenshot(path)
        return path

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)

    def find(self, css):
        from selenium.webdriver.common.by import By
        return self.driver.find_element(By.CSS_SELECTOR, css)

    def wait(self, what, condition):
        deadline = time.time() + WAIT_SECONDS
        while time.time() < deadline:
            value = condition()
            if value:
                return value
            time.sleep(0.05)
        raise AssertionError('timed out waiting for %s; status: %s; generation %s; last passes: %s' % (
            what, self.js("return document.getElementById('status').textContent"),
            self.js("return studio.generation"), json.dumps(self.js("return studio.passes"))))

    def final_frame(self, after):
        """Waits for a full frame newer than `after` with nothing left to render."""
        self.wait('a full frame', lambda: self.js("return studio.finalFrames") > after and
                  self.js("return document.getElementById('status').textContent") == 'Ready')
        return self.js("return studio.finalFrames")

    def pixels(self):
        return self.js("""const img = document.getElementById('frame');
            const canvas = document.createElement('canvas');
            canvas.width = img.naturalWidth; canvas.height = img.naturalHeight;
            const context = canvas.getContext('2d');
            context.drawImage(img, 0, 0);
            return Array.from(context.getImageData(0, 0, canvas.width, canvas.height).data);""")

    def final_png(self):
        data_url = self.driver.execute_async_script("""const done = arguments[0];
            const reader = new FileReader();
            reader.onload = () => done(reader.result);
            reader.readAsDataURL(studio.lastFinal);""")
        return base64.b64decode(data_url.split(',', 1)[1])


def start_studio(arguments):
    command = [arguments.studio, '--port', '0', '--library', arguments.library]
    studio = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    line = studio.stdout.readline()
    found = re.search(r'http://127\.0\.0\.1:\d+/', line)
    if not found:
        studio.kill()
        raise AssertionError('kestrel-studio printed no address: ' + line)
    return studio, found.group(0)


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def same_pixels(path, png, scratch):
    """Whether a PNG file and PNG bytes hold the same pixels (their metadata may differ)."""
    other = os.path.join(scratch, 'frame.png')
    with open(other, 'wb') as file:
        file.write(png)
    return subprocess.run(['idiff', '-fail', '0', '-warn', '0', path, other], stdout=subprocess.DEVNULL).returncode == 0


def exercise(page, arguments, scratch):
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.keys import Keys
    page.wait('the class list', lambda: page.js("return document.querySelectorAll('#class-list li').length") > 0)
    # A small final frame keeps the test quick: 128 x 128 at 4 samples.
    page.js("""document.getElementById('stage-size').value = '128';
               document.getElementById('stage-samples').value = '4';""")
    page.find('#class-search').send_keys('metal')
    names = page.js("return [...document.querySelectorAll('#class-list li')].map((li) => li.dataset.name)")
    # The search reads names and descriptions: the metals stay, a class about neither goes.
    check('kestrel_Mtl_Metal' in names and 'kestrel_Mtl_Mirror' not in names,
          'the search for "metal" listed %s' % names)
    page.find('#class-list li[data-name="kestrel_Mtl_Metal"]').click()
    frames = page.final_frame(0)
    page.shot('class-chosen')
    before = page.pixels()

    slider = page.find('.param[data-name="u_glossyValueV"] input[type=range]')
    ActionChains(page.driver).click_and_hold(slider).move_by_offset(-50, 0).release().perform()
    frames = page.final_frame(frames)
    after = page.pixels()
    changed = sum(1 for a, b in zip(before, after) if a != b)
    check(len(before) == len(after) and changed > len(after) // 100,
          'moving the glossiness slider changed %d of %d pixel values' % (changed, len(after)))
    page.shot('slider-moved')

    # The flecks group starts folded, as a user finds it.
    group = page.js("return document.querySelector('.param[data-name=\"u_flecksDensity\"]').closest('details')")
    if not group.get_attribute('open'):
        group.find_element('css selector', 'summary').click()
    field = page.find('.param[data-name="u_flecksDensity"] .widget input[type=text]')
    field.clear()
    field.send_keys('lots', Keys.TAB)
    message = page.wait('the message beside the control', lambda: page.js(
        """const row = document.querySelector('.param[data-name="u_flecksDensity"]');
           return row.classList.contains('bad') && row.querySelector('.error').textContent;"""))
    check('u_flecksDensity' in message and 'expected a number' in message, 'the message was: ' + message)
    page.shot('bad-value')
    page.find('.param[data-name="u_flecksDensity"] .reset').click()
    frames = page.final_frame(frames)

    page.find('#take-snapshot').click()
    page.wait('the snapshot', lambda: page.js("return !document.getElementById('snapshot').hidden"))
    page.js("document.getElementById('wipe').value = 50; document.getElementById('wipe').dispatchEvent(new Event('input'))")
    field = page.find('.param[data-name="u_specularColor"] .widget input.component')
    field.clear()
    field.send_keys('0.1', Keys.TAB)
    frames = page.final_frame(frames)
    page.shot('ab-wipe')

    page.find('#export').click()
    exported = page.wait('the export', lambda: page.js("return studio.lastExport"))
    scene = os.path.join(scratch, 'look.json')
    image = os.path.join(scratch, 'look.png')
    with open(scene, 'w') as file:
        file.write(exported)
    subprocess.run([arguments.render, '--quiet', '--library', arguments.library, scene, '-o', image], check=True,
                   stderr=subprocess.DEVNULL)
    check(same_pixels(image, page.final_png(), scratch), 'kestrel-render renders the exported scene to another image')

    page.find('#reset-all').click()
    frames = page.final_frame(frames)
    page.find('#import').send_keys(scene)
    page.wait('the import', lambda: page.js("return document.getElementById('status').textContent").startswith('Imported') or
              page.js("return studio.finalFrames") > frames)
    frames = page.final_frame(frames)
    check(same_pixels(image, page.final_png(), scratch), 'the imported scene renders to another image')
    page.shot('imported')


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ('--studio', '--render', '--library', '--shots'):
        parser.add_argument(option, required=True)
    arguments = parser.parse_args()
    skip_unless_available()
    os.makedirs(arguments.shots, exist_ok=True)
    scratch = tempfile.mkdtemp(prefix='studio-browser-')
    studio, url = start_studio(arguments)
    page = None
    started = time.time()
    try:
        page = Page(url, arguments.shots, scratch)
        exercise(page, arguments, scratch)
        print('The studio page passed in Chromium (%.1f s, screenshots in %s)' % (time.time() - started, arguments.shots))
        return 0
    except Exception as error:  # every failure leaves a screenshot of the page as it was
        shot = page.shot('failure') if page else None
        print('FAILED: %s%s' % (error, '\n  screenshot: ' + shot if shot else ''))
        return 1
    finally:
        if page:
            page.close()
        studio.terminate()
        studio.wait(timeout=10)
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == '__main__':
    sys.exit(main())

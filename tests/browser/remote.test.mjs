// The web remote's page in a real browser at phone size: signs in from the
// QR address, plays, follows the running order, panics, refuses a wrong PIN.
//
// The server is, in this order: OSTINEL_REMOTE_URL (already running, with
// the PIN in its fragment); `$OSTINEL_CLI serve` on a demo show; else the
// protocol stand-in mock_remote_server.py. puppeteer-core is looked up in
// OSTINEL_NPM_DIR (the build tree's npm folder), else beside this file.
import { spawn, spawnSync } from "node:child_process";
import { mkdtempSync, mkdirSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import readline from "node:readline";
import { fileURLToPath } from "node:url";

const here = path.dirname(fileURLToPath(import.meta.url));
const npmDir = path.resolve(process.env.OSTINEL_NPM_DIR || here);
const puppeteer = createRequire(path.join(npmDir, "package.json"))("puppeteer-core");
const outDir = process.env.OSTINEL_BROWSER_OUT || os.tmpdir();
const wait = 30000; // generous: a sanitizer build on a busy two-core machine
const scratch = mkdtempSync(path.join(os.tmpdir(), "ostinel-browser-"));
const children = [];
let passed = 0, failed = 0;

function check(ok, what) {
    ok ? passed++ : failed++;
    console.log(`${ok ? "ok  " : "FAIL"} ${what}`);
}

function isolatedEnv() {
    const dirs = { HOME: "home", XDG_CONFIG_HOME: "config", XDG_DATA_HOME: "data", XDG_CACHE_HOME: "cache",
                   XDG_STATE_HOME: "state", XDG_RUNTIME_DIR: "runtime", TMPDIR: "tmp" };
    const env = { ...process.env };
    for (const [key, dir] of Object.entries(dirs)) {
        env[key] = path.join(scratch, dir);
        mkdirSync(env[key], { recursive: true, mode: 0o700 });
    }
    return env;
}

function freePort() {
    return new Promise((resolve, reject) => {
        const s = net.createServer().listen(0, "127.0.0.1", () => {
            const { port } = s.address();
            s.close(() => resolve(port));
        }).on("error", reject);
    });
}

// Starts a server; resolves with the remoteURL of its "ready" line and a way
// to stop it and start it again on the same port.
function startServer(command, args, env) {
    const child = spawn(command, args, { env, stdio: ["ignore", "pipe", "inherit"] });
    children.push(child);
    const url = new Promise((resolve, reject) => {
        const timer = setTimeout(() => reject(new Error("no ready line from " + command)), 120000);
        child.on("exit", (code) => reject(new Error(`${command} exited with ${code} before it was ready`)));
        readline.createInterface({ input: child.stdout }).on("line", (line) => {
            let event;
            try { event = JSON.parse(line); } catch { return; }
            if (event.event === "ready") {
                clearTimeout(timer);
                // This machine's own address keeps the test off the network.
                const url = event.remoteLocalURL || event.remoteURL;
                url ? resolve(url) : reject(new Error("ready without remoteURL: " + line));
            }
        });
    });
    const restart = async () => {
        await stop(child);
        return startServer(command, args, env);
    };
    return url.then((remoteURL) => ({ url: remoteURL, restart }));
}

function stop(child) {
    if (child.exitCode !== null || child.signalCode !== null) return Promise.resolve();
    return new Promise((resolve) => {
        const force = setTimeout(() => child.kill("SIGKILL"), 15000);
        child.once("exit", () => { clearTimeout(force); resolve(); });
        child.kill("SIGTERM");
    });
}

async function server() {
    if (process.env.OSTINEL_REMOTE_URL) return { url: process.env.OSTINEL_REMOTE_URL, restart: null };
    const env = isolatedEnv();
    const cli = process.env.OSTINEL_CLI;
    const port = String(await freePort());
    if (!cli) {
        const page = path.join(here, "../../src/control/remote/index.html");
        return startServer("/usr/bin/python3", [path.join(here, "mock_remote_server.py"), "--page", page, "--port", port],
                           env);
    }
    Object.assign(env, { OSTINEL_AUDIO_BACKEND: "offline", OSTINEL_MIDI_BACKEND: "loopback" });
    const show = path.join(scratch, "demo");
    const made = spawnSync(cli, ["demo", show], { env, stdio: "inherit" });
    if (made.status !== 0) throw new Error("ostinel-cli demo failed");
    return startServer(cli, ["serve", path.join(show, "demo.ot"), "--remote-port", port, "--pin", "4711"], env);
}

const visible = (sel) => `${sel}:not([hidden])`;
const textOf = (page, sel) => page.$eval(sel, (e) => e.textContent);
async function waitText(page, sel, want, timeout = wait) {
    try {
        await page.waitForFunction((s, w) => document.querySelector(s)?.textContent === w, { timeout }, sel, want);
        return true;
    } catch {
        return false;
    }
}
async function waitChange(page, sel, from) {
    try {
        await page.waitForFunction((s, f) => document.querySelector(s)?.textContent !== f, { timeout: wait }, sel, from);
        return true;
    } catch {
        return false;
    }
}

async function run(browser, { url, restart }) {
    const origin = new URL(url).origin;
    const page = await browser.newPage();
    await page.setViewport({ width: 390, height: 844, deviceScaleFactor: 2, isMobile: true, hasTouch: true });
    await page.goto(url);

    await page.waitForSelector(visible("#app"), { timeout: wait });
    check(await page.evaluate(() => location.hash === ""), "the PIN's fragment leaves the address bar");
    check(await page.evaluate(() => localStorage.getItem("ostinelPin")) === "4711", "the PIN is kept for next time");
    check(await waitText(page, "#status", "Connected"), "signed in and connected");

    // The running order follows a tapped row.
    await page.waitForSelector("#cues button.current", { timeout: wait });
    const before = await page.$eval("#cues button.current", (b) => +b.dataset.n);
    const target = await page.$$eval("#cues button", (rows, cur) =>
        rows.map((r) => +r.dataset.n).find((n) => n !== cur && !rows[n - 1].classList.contains("skip")), before);
    await page.tap(`#cues button[data-n="${target}"]`);
    check(await page.waitForSelector(`#cues button.current[data-n="${target}"]`, { timeout: wait }).then(() => true,
        () => false), `tapping cue ${target} selects it`);
    check(await page.$$eval("#cues button.current", (r) => r.length) === 1, "one row is current");
    check(await textOf(page, "#current") === await textOf(page, `#cues button[data-n="${target}"] .nm`),
        "the current cue's name follows");

    // GO plays: the play state, the clock and the countdown move.
    await page.tap("#go");
    check(await waitText(page, "#playState", "▶ Playing"), "GO starts playback");
    const elapsed = await textOf(page, "#elapsed"), remaining = await textOf(page, "#remaining");
    check(await waitChange(page, "#elapsed", elapsed), `elapsed moves from ${elapsed}`);
    check(await waitChange(page, "#remaining", remaining), `remaining counts down from ${remaining}`);
    if (!process.env.OSTINEL_CLI && !process.env.OSTINEL_REMOTE_URL)
        check(await waitText(page, "#go", "LEAVE LOOP"), "GO offers to leave the loop it plays");
    // A section tap queues a jump, marked from the position messages.
    if (await page.$$eval("#sections button", (b) => b.length) > 0) {
        await page.tap("#sections button:first-child");
        check(await page.waitForFunction(() => document.querySelector("#sections button:first-child")
            .matches(".pending, .on"), { timeout: wait }).then(() => true, () => false), "a tapped section is marked");
    }
    mkdirSync(outDir, { recursive: true });
    await page.screenshot({ path: path.join(outDir, "remote-phone.png") });
    console.log(`screenshots: ${outDir}/remote-phone.png, remote-login.png`);

    // Panic: a lone tap only arms and disarms by itself; two taps stop everything.
    await page.tap("#panic");
    check(await textOf(page, "#panic") === "Tap again to stop everything", "the first panic tap arms");
    check(await waitText(page, "#panic", "Panic — tap twice"), "an armed panic disarms by itself");
    check(await textOf(page, "#playState") === "▶ Playing", "a single panic tap stops nothing");
    await page.tap("#panic");
    await page.tap("#panic");
    check(await textOf(page, "#panic") === "Panic — tap twice", "the second tap fires and rests the button");
    check(await waitText(page, "#playState", "Stopped"), "panic stops playback");

    // The list follows the cue in focus as it moves, and is otherwise left where the operator put it.
    const rows = await page.$$eval("#cues button", (r) => r.length);
    for (let n = await page.$eval("#cues button.current", (b) => +b.dataset.n); n < rows; n++) {
        await page.tap("#next");
        await page.waitForSelector(`#cues button.current[data-n="${n + 1}"]`, { timeout: wait });
    }
    // Polled five times a second: in view, and the smooth scroll over.
    const settledInView = () => {
        const list = document.querySelector("#cues"), box = list.getBoundingClientRect();
        const row = document.querySelector("#cues button.current").getBoundingClientRect();
        const still = list.scrollTop === window.lastListTop;
        window.lastListTop = list.scrollTop;
        return still && row.top >= box.top - 1 && row.bottom <= box.bottom + 1;
    };
    check(await page.waitForFunction(settledInView, { timeout: wait, polling: 200 }).then(() => true, () => false),
        "the last cue, reached by Next, is scrolled into view");
    await page.$eval("#cues", (l) => l.scrollTo(0, 0));
    await page.tap("#go");
    check(await waitText(page, "#playState", "▶ Playing"), "GO plays the last cue");
    check(await page.$eval("#cues", (l) => l.scrollTop) === 0, "a list moved by hand stays put while the cue does");
    await page.tap("#stop");
    check(await waitText(page, "#playState", "Stopped"), "Stop stops");

    // A server that goes away is shown, and found again by itself, signed in with the kept PIN.
    if (restart) {
        const back = restart();
        check(await waitText(page, "#status", "Disconnected"), "a lost server shows as disconnected");
        await back;
        check(await waitText(page, "#status", "Connected", 120000), "the page reconnects by itself");
        check(await page.waitForSelector(visible("#app"), { timeout: wait }).then(() => true, () => false) &&
              await page.evaluate(() => !document.body.classList.contains("offline")), "and signs in again");
    }
    await page.close();

    // Typed by hand, a wrong PIN is refused and not kept.
    const context = await browser.createBrowserContext();
    const fresh = await context.newPage();
    await fresh.setViewport({ width: 390, height: 844, deviceScaleFactor: 2, isMobile: true, hasTouch: true });
    await fresh.goto(origin + "/");
    await fresh.waitForSelector(visible("#login"), { timeout: wait });
    await waitText(fresh, "#status", "Connected");
    await fresh.type("#pin", "12a34");
    check(await waitText(fresh, "#loginError", "Wrong PIN."), "a wrong PIN says so");
    check(await fresh.$eval("#pin", (e) => e.value) === "", "the PIN field is cleared for another try");
    check(await fresh.evaluate(() => localStorage.getItem("ostinelPin")) === null, "a wrong PIN is not kept");
    check(await fresh.$eval("#app", (e) => e.hidden), "nothing of the show is shown");
    await fresh.screenshot({ path: path.join(outDir, "remote-login.png") });
    await context.close();
}

let browser;
try {
    const target = await server();
    console.log("remote: " + target.url);
    browser = await puppeteer.launch({
        executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
        headless: true,
        userDataDir: path.join(scratch, "chromium"),
        env: isolatedEnv(),
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
               "--disable-component-update", "--disable-sync"],
    });
    await run(browser, target);
} catch (error) {
    check(false, String(error && error.stack || error));
} finally {
    if (browser) await browser.close().catch(() => {});
    await Promise.all(children.map(stop));
    rmSync(scratch, { recursive: true, force: true });
}
console.log(`${passed} passed, ${failed} failed`);
process.exit(failed === 0 && passed > 0 ? 0 : 1);

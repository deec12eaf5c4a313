// Writes a picture of the page: node tests/view/picture.mjs ORM_TRACE CAPTURE OUT
import { launch, serve } from "./chromium.mjs";

const [tool, capture, out] = process.argv.slice(2);
const { address, end } = await serve(tool, capture);
const browser = await launch();
const page = await browser.newPage({ viewport: { width: 1280, height: 720 }, colorScheme: "light" });
await page.goto(address);
await page.getByTestId("types").locator("canvas").first().waitFor();
await page.waitForLoadState("networkidle");
await page.screenshot({ path: out });
await browser.close();
await end();

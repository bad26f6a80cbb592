// Pictures of the page for the documentation, into the directory that is named.
import path from "node:path";
import { launch, open, settled } from "./browser/stage";

const target = path.resolve(process.argv[2] ?? ".");
const stage = await launch();
// Little noise, as noise makes files large.
const chain = "filter=SpatialModerateFilter&filter=FalsePositiveFilter&scene.noise=0.02";
const pictures = [
  { name: "playground", fragment: `${chain}&frame=4`, colorScheme: "light", width: 1280, height: 860 },
  { name: "playground_removed", fragment: `${chain}&mode=removed&frame=4`, colorScheme: "dark", width: 1280, height: 860 },
  { name: "playground_cloud", fragment: `${chain}&mode=cloud&frame=4`, colorScheme: "dark", width: 1280, height: 860 },
  { name: "playground_narrow", fragment: `${chain}&mode=wipe&frame=4`, colorScheme: "light", width: 390, height: 860 },
] as const;
for (const { name, fragment, colorScheme, width, height } of pictures) {
  const page = await open(stage, fragment, { colorScheme, viewport: { width, height } });
  await settled(page);
  // The point cloud is loaded first.
  await page.waitForTimeout(1500);
  await page.screenshot({ path: path.join(target, `${name}.png`) });
  await page.context().close();
}
await stage.close();

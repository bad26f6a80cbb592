// A frame as points in space. The frame goes to the graphics processor as it is, an integer texture; which
// point each pixel becomes is worked out there.
import {
  DataTexture,
  GLSL3,
  NearestFilter,
  PerspectiveCamera,
  Points,
  BufferGeometry,
  RGBAFormat,
  RedIntegerFormat,
  Scene,
  ShaderMaterial,
  UnsignedByteType,
  UnsignedShortType,
  Vector2,
  Vector4,
  WebGLRenderer,
} from "three";
import { OrbitControls } from "three/addons/controls/OrbitControls.js";
import { depthColour } from "../views/colours";
import type { Reading } from "../views/depths";
import type { MapName, Range } from "../state/look";

const vertexShader = `
  uniform highp usampler2D depth;
  uniform sampler2D colours;
  uniform vec4 lens;      // fx, fy, cx, cy in pixels
  uniform vec2 range;     // nearest and farthest colour, metres
  uniform float unit;     // metres per unit
  uniform float pointSize;
  out vec3 colour;

  void main() {
    ivec2 size = textureSize(depth, 0);
    ivec2 pixel = ivec2(gl_VertexID % size.x, gl_VertexID / size.x);
    uint raw = texelFetch(depth, pixel, 0).r;
    float z = float(raw) * unit;
    vec2 direction = (vec2(pixel) - lens.zw) / lens.xy;
    gl_Position = raw == 0u ? vec4(2.0, 2.0, 2.0, 1.0)
                            : projectionMatrix * modelViewMatrix * vec4(direction.x * z, -direction.y * z, -z, 1.0);
    gl_PointSize = clamp(pointSize * z / gl_Position.w, 1.0, 8.0);
    float share = clamp((z - range.x) / (range.y - range.x), 0.0, 1.0);
    colour = texture(colours, vec2(share, 0.5)).rgb;
  }`;

const fragmentShader = `
  precision highp float;
  in vec3 colour;
  out vec4 pixel;
  void main() { pixel = vec4(colour, 1.0); }`;

export interface CloudScene {
  show(reading: Reading, map: MapName, range: Range): void;
  /** Turns and nears by keys; false: not one of its keys. */
  key(name: string): boolean;
  resize(): void;
  dispose(): void;
}

/** Throws where the browser has no WebGL 2. */
export function cloudScene(canvas: HTMLCanvasElement): CloudScene {
  const renderer = new WebGLRenderer({ canvas, antialias: false, powerPreference: "low-power" });
  renderer.setClearColor(0x0d1116);
  const camera = new PerspectiveCamera(50, 1, 0.01, 200);
  const scene = new Scene();
  const uniforms = {
    depth: { value: null as DataTexture | null },
    colours: { value: null as DataTexture | null },
    lens: { value: new Vector4() },
    range: { value: new Vector2() },
    unit: { value: 0.001 },
    pointSize: { value: 2 },
  };
  const material = new ShaderMaterial({ glslVersion: GLSL3, vertexShader, fragmentShader, uniforms });
  // No attributes: all that a point is made of is its number.
  const geometry = new BufferGeometry();
  const points = new Points(geometry, material);
  points.frustumCulled = false;
  scene.add(points);

  const controls = new OrbitControls(camera, canvas);
  controls.addEventListener("change", render);
  let waiting = false;
  let middle = 0;

  function render(): void {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      renderer.render(scene, camera);
    });
  }

  /** Behind the camera that took the frame, a little to the side, turning about the middle of the scene. */
  function home(distance: number): void {
    middle = distance;
    camera.position.set(distance * 0.35, distance * 0.25, distance * 0.35);
    controls.target.set(0, 0, -distance);
    controls.update();
  }

  function colourTexture(map: MapName): DataTexture {
    const bytes = new Uint8Array(256 * 4);
    for (let i = 0; i < 256; i++) bytes.set([...depthColour(map, i / 255), 255], i * 4);
    const texture = new DataTexture(bytes, 256, 1, RGBAFormat, UnsignedByteType);
    texture.needsUpdate = true;
    return texture;
  }

  function depthTexture({ width, height, pixels }: Reading["image"]): DataTexture {
    const texture = new DataTexture(pixels, width, height, RedIntegerFormat, UnsignedShortType);
    texture.internalFormat = "R16UI";
    texture.minFilter = texture.magFilter = NearestFilter;
    texture.unpackAlignment = 2;
    return texture;
  }

  let shownMap: MapName | null = null;

  return {
    show(reading, map, range) {
      const { image, lens, unit } = reading;
      const kept = uniforms.depth.value;
      if (kept?.image.width === image.width && kept.image.height === image.height)
        kept.image = { data: image.pixels, width: image.width, height: image.height };
      else {
        kept?.dispose();
        uniforms.depth.value = depthTexture(image);
        geometry.setDrawRange(0, image.width * image.height);
      }
      if (uniforms.depth.value !== null) uniforms.depth.value.needsUpdate = true;
      if (map !== shownMap) {
        uniforms.colours.value?.dispose();
        uniforms.colours.value = colourTexture(map);
        shownMap = map;
      }
      uniforms.lens.value.set(lens.fx, lens.fy, lens.cx, lens.cy);
      uniforms.range.value.set(range.near / 1000, range.far / 1000);
      uniforms.unit.value = unit / 1000;
      if (middle === 0) home((range.near + range.far) / 2000);
      render();
    },
    key(name) {
      const turns: Record<string, [number, number]> = {
        ArrowLeft: [-1, 0],
        ArrowRight: [1, 0],
        ArrowUp: [0, 1],
        ArrowDown: [0, -1],
      };
      const turn = turns[name];
      const arm = camera.position.clone().sub(controls.target);
      if (turn !== undefined) {
        arm.applyAxisAngle(camera.up, turn[0] * 0.1);
        arm.y += turn[1] * 0.1 * arm.length();
      } else if (name === "+" || name === "=") arm.multiplyScalar(0.85);
      else if (name === "-") arm.multiplyScalar(1.18);
      else if (name === "0") {
        home(middle);
        return true;
      } else return false;
      camera.position.copy(controls.target).add(arm);
      controls.update();
      return true;
    },
    resize() {
      const { clientWidth, clientHeight } = canvas.parentElement ?? canvas;
      renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
      renderer.setSize(clientWidth, clientHeight, false);
      uniforms.pointSize.value = (2 * clientHeight) / 480;
      camera.aspect = clientWidth / Math.max(1, clientHeight);
      camera.updateProjectionMatrix();
      render();
    },
    dispose() {
      controls.dispose();
      uniforms.depth.value?.dispose();
      uniforms.colours.value?.dispose();
      geometry.dispose();
      material.dispose();
      renderer.dispose();
    },
  };
}

/** Sizes that frames often have, to choose from. */
export const usualSizes = ["640x480", "1280x800", "1280x720", "848x480", "640x400", "320x240"];

"""The stars of a frame."""


class Stars:
    """The stars of a frame: what they are like together, and a table of the brightest. The frame may be gone.

    Lengths are pixels of the frame where they are not arcseconds. Those are NaN as long as no focal length is known, which
    the user's profile or camera.keyword("FOCALLEN=750") tells (millimetres).
    """

    def __init__(self, found):
        self._summary = found.summary
        self._table = found.table()

    @property
    def count(self):
        """How many were found; the table has the brightest of them."""
        return self._summary.stars

    @property
    def measured(self):
        """How many of the table hfr and fwhm are medians of: those that are neither saturated nor cut off by an edge, or
        all where every one is."""
        return self._summary.measured

    @property
    def saturated(self):
        """How many of the table hold a full pixel."""
        return self._summary.saturated

    @property
    def hfr(self):
        """Median half-flux radius, pixels: of the circle that holds half of a star's light. The smaller, the sharper.
        NaN: no star was measured."""
        return self._summary.hfr

    @property
    def fwhm(self):
        """Median width at half of the height, pixels. NaN: no star was measured."""
        return self._summary.fwhm

    @property
    def arcsec_per_pixel(self):
        """Arcseconds of the sky that a pixel of the frame sees. NaN: unknown."""
        return self._summary.arcsec_per_pixel

    @property
    def hfr_arcsec(self):
        """Median half-flux radius, arcseconds. NaN: unknown."""
        return self.hfr * self.arcsec_per_pixel

    @property
    def fwhm_arcsec(self):
        """Median width at half of the height, arcseconds. NaN: unknown."""
        return self.fwhm * self.arcsec_per_pixel

    @property
    def background(self):
        """Pixel value between the stars."""
        return self._summary.background

    @property
    def noise(self):
        """Standard deviation of the background."""
        return self._summary.noise

    @property
    def table(self):
        """The brightest stars, at most 500, the brightest first: an array with the fields x, y (pixels of the frame; the
        centre of the top left one is 0, 0), flux and peak (pixel values above the background: of the star, of its
        brightest pixel), hfr, fwhm (pixels), saturated (it holds a full pixel), cut_off (an edge cuts it)."""
        return self._table

    def __repr__(self):
        return f"<orqcam.Stars: {self.count} stars, hfr {self.hfr:.2f} px, fwhm {self.fwhm:.2f} px>"

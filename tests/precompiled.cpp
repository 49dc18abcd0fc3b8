// The one source of the target whose headers all tests share.

server(
    port(4711)
    log(filename(server.log)
    inbox(in)
)

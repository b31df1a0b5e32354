(* The settings of courier_server. Each key may be left out. *)
courier(
    address(127.0.0.1)      (* to listen on; 0.0.0.0 is every address of this machine *)
    port(0)                 (* 0 takes a free one *)
    inbox(inbox)            (* the folder for the files *)
    key()                   (* of files that come encrypted, as in courier_send --key *)
    idleTimeout(60)         (* seconds without a message until a connection is closed; 0 is never *)

    log(
        filename(courier.log)
        infoOn(true)
        debugOn(false)
        consoleOn(false)
        appLogs:map(
            COURIER.CHUNK(false)    (* a line for each part of a file *)
            TCP.INFO(false)         (* how connections end *)
            TCP.DEBUG(false)
        )
    )
)

# Installs the context-menu entries of file managers. Included if the desktop program is installed,
# with CMAKE_INSTALL_DATADIR set.
set(menus ${CMAKE_CURRENT_LIST_DIR})
# Dolphin and other programs that show KDE service menus.
install(FILES ${menus}/kio/org.tessary.Tessary.aggregate.desktop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/kio/servicemenus COMPONENT desktop)
install(FILES ${menus}/nemo/org.tessary.Tessary.aggregate.nemo_action
  DESTINATION ${CMAKE_INSTALL_DATADIR}/nemo/actions COMPONENT desktop)
# PCManFM-Qt and PCManFM.
install(FILES ${menus}/file-manager/org.tessary.Tessary.aggregate.desktop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/file-manager/actions COMPONENT desktop)
unset(menus)
